// Which bytes are a frame header, and its fields (RFC 9639, 9.1).
#include <gtest/gtest.h>

#include "tests/support/demuxer_host.h"

namespace kelflac_test {

/** The five values that kVerdict names; -9: not stored. */
using Verdict = std::array<int64_t, 5>;
constexpr const char* kVerdict = "status, number, sample-rate code, channels, sample-size code of ";

/** Judges the header that begins at `at` in a ring of 8192 bytes, with nothing after `bytes`. */
static Verdict Judge(const Bytes& bytes, size_t at = 0) {
    Reader reader(Cat({Bytes(at), bytes}));
    for (const size_t part : {at / 2, at - at / 2}) {
        kelflacf_fal_skip(&reader, static_cast<int>(part));
        kelflacf_fal_bytes_peek(&reader);
    }
    EXPECT_EQ(reader.rd, at % 8192);
    uint64_t number = 99;
    int32_t rate = -9, channels = -9, bits = -9;
    const int status = check_frm_hdr(&reader, 0, &number, &rate, &channels, &bits);
    return {status, static_cast<int64_t>(number), rate, channels, bits};
}

/** Reports only the first row that fails in a test. */
static void Expect(const FrameHeader& header, const Verdict& verdict) {
    if (testing::Test::HasFailure()) return;
    EXPECT_EQ(Judge(FrameBytes(header, 20)), verdict)
        << kVerdict << testing::PrintToString(HeaderBytes(header));
}

const FrameHeader kLongest = {0xFFFFFFFFF, {}, 0xFFF8, 7, 0x1234, 13, 0x5678};

TEST(FrameSync, IsCheckedInEveryWord) {
    for (uint64_t word = KELFLAC_SLOW_BUILD ? 0xFFF00000 : 0; word <= 0xFFFFFFFF; ++word) {
        const uint64_t block = word >> 12 & 15, rate = word >> 8 & 15, bits = word >> 1 & 7;
        const bool sound = word >> 17 == 0x7FFC && block != 0 && rate != 15 &&
                           (word >> 4 & 15) <= 10 && bits != 3 && bits != 7 && (word & 1) == 0;
        if (check_frm_sync(static_cast<uint32_t>(word)) != sound) FAIL() << std::hex << word;
    }
}

TEST(FrameHeader, LiteralBytesAreJudged) {
    const std::pair<const char*, Verdict> rows[] = {
        {"FF F8 C9 18 00 C2 00", {0, 0, 9, 2, 4}},
        {"FF F9 C9 18 00 D4 00", {0, 0, 9, 2, 4}},
        {"FF F8 C9 18 85 81 39 00", {0, 321, 9, 2, 4}},
        {"FF F8 C9 18 FE 80 80 80 80 80 81 2A 00", {0, 1, 9, 2, 4}},
        {"FF F8 79 18 00 0F FF 36 00", {0, 0, 9, 2, 4}},
        {"FF F8 6C 18 00 FF 2C CA 00", {0, 0, 0, 2, 4}},
        {"FF F8 CD 08 00 AC 44 10 00", {0, 0, 0, 1, 4}},
        {"FF F8 C9 18 00 C3 00", {-3, 0, 9, 2, 4}},
        {"FF F8 C9 18 FF 80 80 80 80 80 80 80", {-3, 0, -9, -9, -9}},
        {"FF F8 C9 18 E5 81 41 00", {-3, 321, -9, -9, -9}}};
    for (const auto& [bytes, verdict] : rows)
        EXPECT_EQ(Judge(Hex(bytes)), verdict) << kVerdict << bytes;
}

TEST(FrameHeader, CodesSayWhatIsReportedAndHowLongTheTailsAre) {
    const int channels[] = {1, 2, 3, 4, 5, 6, 7, 8, 2, 2, 2, 0, 0, 0, 0, 0};  // by assignment
    for (uint32_t row = 0; row < 16 * 16 * 16 * 8; ++row) {
        const uint32_t block = row >> 11, rate = row >> 7 & 15, assignment = row >> 3 & 15;
        const uint32_t bits = row & 7, hz_code = rate < 12 ? rate : 0;
        const Bytes number = CodedNumber(5, static_cast<int>(1 + row % 7));
        Expect({0, number, 0xFFF8, block, 0x1234, rate, 0x5678, assignment, bits},
               {0, 5, hz_code, channels[assignment], bits});
    }
}

TEST(FrameHeader, TheFirstByteOfTheNumberGivesItsLength) {
    const size_t rows[][3] = {// first and last of the lead bytes, and how many bytes follow
                              {0x00, 0x7F, 0}, {0x80, 0x9F, 1}, {0xA0, 0xAF, 2}, {0xB0, 0xB7, 3},
                              {0xB8, 0xBB, 4}, {0xBC, 0xBD, 5}, {0xBE, 0xBE, 6}, {0xC0, 0xDF, 1},
                              {0xE0, 0xEF, 2}, {0xF0, 0xF7, 3}, {0xF8, 0xFB, 4}, {0xFC, 0xFD, 5},
                              {0xFE, 0xFE, 6}};
    for (const auto& [first, last, following] : rows) {
        for (size_t byte = first; byte <= last; ++byte) {
            const auto lead = static_cast<int64_t>(byte - first);
            const int64_t lowest = lead << 6 * following;
            const int64_t highest = ((lead + 1) << 6 * following) - 1;
            Expect({0, Cat({Be(byte, 1), Bytes(following, 0x80)})}, {0, lowest, 9, 2, 4});
            Expect({0, Cat({Be(byte, 1), Bytes(following, 0xBF)})}, {0, highest, 9, 2, 4});
        }
    }
    Expect({0, Bytes(7, 0xBF)}, {-3, 0, -9, -9, -9});
}

TEST(FrameHeader, AContinuationByteMustBeginWithBits10) {
    for (int length = 2; length <= 7; ++length) {
        for (int place = 1; place < length; ++place) {
            for (int64_t byte = 0; byte <= 0xFF; ++byte) {
                Bytes coded = CodedNumber(0, length);
                coded[static_cast<size_t>(place)] = static_cast<uint8_t>(byte);
                const int64_t number = (byte & 0x3F) << 6 * (length - 1 - place);
                if (byte >> 6 == 2) Expect({0, coded}, {0, number, 9, 2, 4});
                if (byte >> 6 != 2) Expect({0, coded}, {-3, 0, -9, -9, -9});
            }
        }
    }
}

TEST(FrameHeader, EachFlippedBitIsSeen) {
    for (size_t bit = 0; bit < 128; ++bit) {
        Bytes bytes = FrameBytes(kLongest, 17);
        bytes[bit / 8] ^= static_cast<uint8_t>(0x80 >> bit % 8);
        EXPECT_EQ(Judge(bytes)[0], -3) << "bit " << bit;
    }
}

TEST(FrameHeader, ASubframeOfAReservedTypeIsRefused) {
    FrameHeader header;
    for (int byte = 0; byte <= 0xFF; ++byte) {
        const int type = byte >> 1;  // 64 and above: the bit before the type, which must be 0
        const bool known = type < 2 || (type >= 8 && type < 16) || (type >= 32 && type < 64);
        header.subframe = static_cast<uint8_t>(byte);
        EXPECT_EQ(Judge(FrameBytes(header, 20)), (Verdict{known ? 0 : -3, 0, 9, 2, 4}))
            << kVerdict << "a header before the subframe byte " << byte;
    }
}

TEST(FrameHeader, MayLieAcrossTheRingsEnd) {
    for (size_t at = 8192 - 17; at <= 8192; ++at)
        EXPECT_EQ(Judge(FrameBytes(kLongest, 17), at), (Verdict{0, 0xFFFFFFFFF, 0, 2, 4}))
            << kVerdict << "a header at " << at;
}

TEST(FrameHeader, BytesThatAreNotBufferedCountAsZero) {
    for (Bytes bytes : {Hex("FF F8 54 3C"), FrameBytes({}, 17), FrameBytes(kLongest, 17)}) {
        for (; !bytes.empty(); bytes.pop_back())
            EXPECT_EQ(Judge(bytes), Judge(Cat({bytes, Bytes(17)})))
                << kVerdict << bytes.size() << " bytes";
    }
}

TEST(FrameSearch, FindsHeadersInTheLastWordAndAtTheFirstByte) {
    KELFLACFD_FRM_HDR hdr;
    // FF F8 31 and zeros are a header.
    Reader word(Hex("55 55 FF F8 54 3C")), cut(Hex("55 55 FF F8 31")), first(FrameBytes({}, 20));
    Reader cut_successor(Hex("FF F8 31 00 00 00 00 FF F8 31")), none(Hex("FF F8"));
    KELFLACFD_SEEN seen = {};
    EXPECT_EQ(find_frm_hdr(&word, &hdr), 2)
        << "a header in the last word: bytes after it count as zeros";
    EXPECT_EQ(find_frm_hdr(&cut, &hdr), -1) << "no header in the last three bytes";
    EXPECT_EQ(find_frm_hdr(&cut_successor, &hdr), 0);
    EXPECT_EQ(find_successor(&cut_successor, &seen, hdr), 0) << "no successor there either";
    EXPECT_EQ(find_last_frm_hdr(&first, &hdr), 0);
    EXPECT_EQ(find_last_frm_hdr(&none, &hdr), -1);
}

}  // namespace kelflac_test
