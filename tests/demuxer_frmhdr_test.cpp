// Frame headers: the sync-word test and the header test on bytes laid out by field.
#include <gtest/gtest.h>

#include "tests/support/demuxer_host.h"

namespace kelflac_test {
namespace {

/** Judges the header 3 bytes ahead, with nothing behind `bytes`: "result: number rate channels
    bits", where "-7" was not written. */
std::string Judge(const Bytes& bytes) {
    RecordingSource source(Cat({{0xFF, 0xF8, 0xFF}, bytes}));
    _KELCMN_MFAL record = source.Record();
    KELFLACF_FAL fal;
    kelflacf_fal_create(&fal, &record, 4096);
    uint64_t number = 7;
    int32_t rate = -7, channels = -7, bits = -7;
    const bool sync = check_frm_sync(kelflacf_fal_peek4(&fal, 3));
    const int result = check_frm_hdr(&fal, 3, &number, &rate, &channels, &bits);
    EXPECT_EQ(fal.rd, 0) << "a test must not consume";
    kelflacf_fal_delete(&fal);
    std::string said = std::to_string(sync ? result : -99) + ":";
    for (int64_t field :
         {static_cast<int64_t>(number), int64_t{rate}, int64_t{channels}, int64_t{bits}}) {
        said += " " + std::to_string(field);
    }
    return said;
}

TEST(FrameHeader, Verdicts) {
    const char* const rows[][2] = {
        {"FF F8 C9 18 00 C2 00", "0: 0 9 2 4"},
        {"FF F9 C9 18 00 D4 00", "0: 0 9 2 4"},                    // variable blocking strategy
        {"FF F8 C9 18 CF A8 3F 00", "0: 1000 9 2 4"},              // 2-byte number
        {"FF F8 C9 18 85 81 39 00", "0: 321 9 2 4"},               // led by a continuation byte
        {"FF F8 C9 18 FE 80 80 80 80 80 81 2A 00", "0: 1 9 2 4"},  // 7-byte number
        {"FF F8 79 18 00 0F FF 36 00", "0: 0 9 2 4"},              // 16-bit block size
        {"FF F8 6C 18 00 FF 2C CA 00", "0: 0 0 2 4"},              // 8-bit block size and rate
        {"FF F8 CD 08 00 AC 44 10 00", "0: 0 0 1 4"},              // 16-bit rate
        {"FF F8 C9 18 00 C3 00", "-3: 0 9 2 4"},                   // CRC-8: judged last
        {"FF F8 C9 18 00", "-3: 0 9 2 4"},                         // cut: zeros stand for the rest
        {"FF F8 C9 18 FF 80 80 80 80 80 80 80", "-3: 0 -7 -7 -7"},
        {"FF F8 C9 18 BF 80 80 80 80 80 80 80", "-3: 0 -7 -7 -7"},
        {"FF F8 C9 18 C5 C1 00", "-3: 5 -7 -7 -7"},  // what was decoded stays
        {"FF F8 C9 18 E5 81 41 00", "-3: 321 -7 -7 -7"},
    };
    for (const auto& [bytes, expected] : rows) EXPECT_EQ(Judge(Hex(bytes)), expected) << bytes;
}

TEST(FrameHeader, EveryFirstSubframeByte) {
    for (int byte = 0; byte < 256; ++byte) {
        const int type = byte >> 1;
        const bool sound = byte < 0x80 && (type < 2 || type > 7) && (type < 16 || type > 31);
        const Bytes bytes = Cat({Hex("FF F8 C9 18 00 C2"), {static_cast<uint8_t>(byte)}});
        EXPECT_EQ(Judge(bytes), sound ? "0: 0 9 2 4" : "-3: 0 9 2 4") << byte;
    }
}

TEST(FrameHeader, EverySyncWord) {
    for (uint32_t low = 0; low < 0x10000; ++low) {
        const uint32_t bits = low >> 1 & 7;
        const bool sound = low >> 12 != 0 && (low >> 8 & 15) != 15 && (low >> 4 & 15) <= 10 &&
                           bits != 3 && bits != 7 && (low & 1) == 0;
        ASSERT_EQ(check_frm_sync(0xFFF80000U | low), sound) << std::hex << low;
        ASSERT_EQ(check_frm_sync(0xFFF90000U | low), sound) << std::hex << low;
    }
    for (uint32_t high : {0x0000U, 0xFFFAU, 0xFFFBU, 0xFFF0U, 0xFEF8U, 0x7FF8U}) {
        EXPECT_FALSE(check_frm_sync(high << 16 | 0xC918)) << std::hex << high;
    }
}

}  // namespace
}  // namespace kelflac_test
