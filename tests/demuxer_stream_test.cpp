// Opening, reading and seeking whole streams.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/demuxer_host.h"
#include "tools/streams/hostile_streams.h"

namespace kelflac_test {
namespace {

using ::testing::ElementsAre;
constexpr int kLast = kLastBlockFlag;

StreamInfo Info(uint32_t max_frame, uint64_t samples = 441000, uint32_t bits = 16) {
    return {4096, 4096, 0, 44100, 2, bits, max_frame, samples};
}
Bytes Block(const StreamInfo& info, int type = kLast) {
    return MetaBlock(type, StreamInfoBody(info));
}
Bytes Flac(const std::vector<Bytes>& parts) {
    return Cat({Text("fLaC"), Cat(parts)});
}
Bytes Frames(uint64_t first, uint64_t count, size_t size, FrameHeader header = {}) {
    std::vector<Bytes> frames;
    for (header.number = first; header.number < first + count; ++header.number) {
        frames.push_back(FrameBytes(header, size));
    }
    return Cat(frames);
}

/** "size@start" for each frame delivered, the status for any other read, up to the end. */
std::string Reads(Demuxer& demuxer, int count, int32_t buf_size = 102400) {
    std::string out;
    for (int i = 0, status = 0; i < count && status != 1; ++i) {
        const Frame frame = demuxer.Read(buf_size);
        status = frame.status;
        out += std::to_string(status == 0 ? static_cast<int>(frame.length) : status);
        out += status == 0 ? "@" + std::to_string(frame.time) + " " : " ";
    }
    return out;
}

TEST(Open, StreamInformation) {
    const Bytes tail = Frames(98, 2, 200), table = MetaBlock(kSeekTable | kLast, Bytes(20));
    const Bytes to_44 = Cat({Block(Info(300)), {0, 0}}), info = Block(Info(300), 0);
    const StreamInfo deep = {4608, 4608, 0, 44100, 2, 24, 0, 441000};
    const Bytes stub = MetaBlock(kSeekTable | kLast, Bytes(17));
    const struct {
        std::vector<int64_t> expected;  // duration, byte rate, seekable, largest frame, ring
        Bytes bytes;
        Hook hook = {};
        int64_t in_duration = 0;
    } rows[] = {
        {{100000000, 100000, 1, 300, 8192}, Flac({to_44, Frames(0, 5000, 200)})},
        {{10000000, 400, 1, 300, 8192}, Flac({Block(Info(300)), tail}), {}, 10000000},
        {{92879818, 43, 1, 300, 8192}, Flac({Block(Info(300, 0)), tail})},  // the last frame is 99
        {{928798, 4306, 1, 9000, 16384}, Flac({Block(Info(9000, 0)), tail})},
        {{100000000, 0, 0, 300, 8192}, Flac({Block(Info(300)), tail}), UnknownSize},
        {{100000000, 0, 1, 300, 8192}, Flac({info, table, tail}), UnknownSize},
        {{100000000, 0, 1, 300, 8192}, Flac({info, stub, tail}), UnknownSize},
        {{100000000, 40, 1, 8192, 16384}, Flac({Block(Info(0, 441000, 12)), tail})},
        {{100000000, 40, 1, 27648, 32768}, Flac({Block(deep), tail})},
    };
    for (const auto& row : rows) {
        Demuxer d(row.bytes, row.hook, row.in_duration);
        ASSERT_EQ(d.err, 0);
        EXPECT_EQ((std::vector<int64_t>{d.info.duration, d.info.byte_rate, d.info.seekable,
                                        d.info.max_frm_size, d.ctx->fal.size}),
                  row.expected);
        EXPECT_EQ(logical_pos(&d.ctx->fal), d.ctx->first_frm_pos);
    }
    const auto refuse = [](Call& call) { call.result = call.op == "setpos" ? -1 : call.result; };
    const Bytes untimed = Flac({Block(Info(300, 0)), Frames(0, 60, 200)});
    EXPECT_EQ(Demuxer(untimed, refuse).err, -3) << "the last frame can't be reached";
}

TEST(Open, SkipsAnId3v2TagByAllBitsOfItsSize) {
    const std::pair<const char*, int64_t> rows[] = {{"00 00 20 00", 4096},
                                                    {"00 40 00 00", 1 << 20},
                                                    {"40 00 00 00", 1 << 27},
                                                    {"FF FF FF FF", 1 << 28}};
    for (const auto& [size, reload] : rows) {
        Demuxer demuxer(Cat({Text("ID3"), Bytes(3), Hex(size), Bytes(4096)}));
        EXPECT_EQ(demuxer.source.Lines("setpos"),
                  Texts{"setpos " + std::to_string(reload) + " @4096 = 0"});
    }
}

TEST(Context, WithoutStreamInfoItHasNoFormat) {
    Bytes stream = StreamBuilder{}.Frames(0, 3, 100).Build();
    stream[4] = kPadding | kLast;
    Demuxer demuxer(stream, UnknownSize);
    int size = 99;
    EXPECT_EQ(kelflacfd_get_fmt(demuxer.ctx, nullptr, &size), -3);
    EXPECT_EQ(size, 0);
}

TEST(Context, BadHandles) {
    KELFLACFD_CTX closed = {};
    KELFLACFD_INFO info;
    uint32_t length = 0;
    int64_t time = 0;
    int size = 0;
    MemorySource empty;
    _KELCMN_MFAL record = empty.Record();
    EXPECT_EQ(kelflacfd_create(&record, &time, &info, nullptr), nullptr);
    for (KELFLACFD_CTX* bad : {static_cast<KELFLACFD_CTX*>(nullptr), &closed}) {
        kelflacfd_delete(bad);
        EXPECT_EQ(kelflacfd_get_info(bad, &info), -1);
        EXPECT_EQ(kelflacfd_get_fmt(bad, nullptr, &size), -1);
        EXPECT_EQ(kelflacfd_get_frm(bad, nullptr, 0, &length, &time, &time), -1);
        EXPECT_EQ(kelflacfd_seek(bad, &time, &time), -1);
    }
}

TEST(Read, WhereFramesEnd) {
    const auto with = [](const std::function<void(FrameHeader&)>& change) {
        FrameHeader header;
        change(header);
        return Frames(1, 1, 200, header);
    };
    const std::string three = "200@0 200@928798 200@1857596 1 ", two = "400@0 200@1857596 1 ";
    const auto wrap = [](const Bytes& second) {
        return Flac({Block(Info(700)), Frames(0, 1, 200), second, Frames(2, 1, 200)});
    };
    const std::pair<Bytes, std::string> rows[] = {
        {Frames(1, 1, 200), three},
        {with([](FrameHeader& h) { h.block_code = 11; }), three},
        {with([](FrameHeader& h) { h.sync = 0xFFF9; }), three},
        {with([](FrameHeader& h) { h.assignment = 10; }), three},  // another kind of stereo
        {with([](FrameHeader& h) { h.rate_code = 10; }), two},
        {with([](FrameHeader& h) { h.assignment = 0; }), two},
        {with([](FrameHeader& h) { h.bits_code = 6; }), two},
        {with([](FrameHeader& h) { h.crc_error = 1; }), two},
        {with([](FrameHeader& h) { h.subframe = 4; }), two},
        {Frames(999, 1, 200), "200@0 200@927869387 200@1857596 1 "},  // numbers need not follow
        {Frames(1, 1, 700), "200@0 700@928798 200@1857596 1 "},
        {Frames(1, 1, 701), "200@0 -7 200@1857596 1 "},  // above the stated maximum
        {Frames(1, 1, 9000), "200@0 200@1857596 1 "},    // beyond the ring: passed over
    };
    for (const auto& [second, reads] : rows) {
        Demuxer demuxer(wrap(second));
        EXPECT_EQ(Reads(demuxer, 9), reads) << &second - &rows[0].first;
    }
    Demuxer demuxer(wrap(Frames(1, 1, 500)));
    EXPECT_EQ(Reads(demuxer, 9, 499), "200@0 -7 200@1857596 1 ") << "too long for the buffer";
    Demuxer unsized(wrap(Frames(1, 1, 500)), UnknownSize);
    EXPECT_EQ(Reads(unsized, 9), "200@0 500@928798 1 ") << "the last frame has no successor";
}

TEST(Read, AHeaderAtTheEndOfTheBufferedBytesIsPassedOver) {
    for (size_t in_sight = 3; in_sight <= 8; ++in_sight) {
        const Bytes padding = MetaBlock(kPadding | kLast, Bytes(4096 - 46 - in_sight));
        Demuxer demuxer(Flac({Block(Info(700), 0), padding, Frames(200, 3, 200)}));
        // Six bytes and the CRC-8 must be in sight; the subframe byte may read as 0.
        EXPECT_EQ(demuxer.Read().time, in_sight == 3 || in_sight >= 7 ? 185759637 : 186688435);
    }
}

TEST(Read, LooksWithoutABuffer) {
    Demuxer demuxer(StreamBuilder{}.Frames(7, 3, 200).Build());
    for (int left : {243, 242}) {
        uint32_t length = 0;
        int64_t time = 0, next = 0;
        EXPECT_EQ(kelflacfd_get_frm(demuxer.ctx, nullptr, 0, &length, &time, &next), 0);
        EXPECT_THAT((std::vector<int64_t>{length, time, next}), ElementsAre(200, 6501587, 7430385));
        EXPECT_EQ(demuxer.ctx->full_check_count, left);
    }
    EXPECT_EQ(Reads(demuxer, 1), "200@6501587 ");
}

TEST(Read, FixedSizePiecesPastTheCountdown) {
    const Bytes stream = StreamBuilder(Info(300)).Frames(0, 250, 200).Build();
    Demuxer demuxer(stream), small(stream);
    for (int i = 0; i < 245; ++i) ASSERT_EQ(demuxer.Read().bytes.size(), 200U) << i;
    const Frame piece = demuxer.Read();
    EXPECT_EQ(piece.bytes, Bytes(stream.end() - 1000, stream.end() - 700));
    EXPECT_EQ(piece.next_time, 928798);
    EXPECT_EQ(Reads(demuxer, 5), "300@0 300@0 100@0 1 ");
    EXPECT_EQ(demuxer.Seek(0), 0);
    EXPECT_EQ(Reads(demuxer, 2), "200@0 200@928798 ") << "a seek searches again";
    for (int i = 0; i < 245; ++i) ASSERT_EQ(small.Read(199).status, -7) << "these count as well";
    EXPECT_EQ(Reads(small, 6, 199), "-7 -7 -7 -7 -7 -7 ") << "also at the end of the file";
}

/** Seeks to 5 s in a file of 10,008,000 bytes with frames of `size` bytes up to frame `count` and
    even ones behind. Gives the positions taken behind the first estimate. */
std::vector<std::string> SeekAcross(size_t size, size_t count, int64_t* landed) {
    const Bytes meta =
        Flac({Block(Info(12000, 1077 * 4096), 0), MetaBlock(kPadding | kLast, Bytes(8000 - 46))});
    const Bytes even = Frames(count, 1076 - count, (10000000 - size * count) / (1077 - count));
    const size_t last = 10000000 - size * count - even.size();
    Demuxer demuxer(Cat({meta, Frames(0, count, size), even, Frames(1076, 1, last)}));
    EXPECT_EQ(demuxer.info.byte_rate, 99968);
    demuxer.source.calls.clear();
    EXPECT_EQ(demuxer.Seek(50000000, landed), 0);
    auto positions = demuxer.source.Lines("setpos");
    EXPECT_EQ(demuxer.Read().time, *landed);
    return {positions.begin() + 3, positions.end()};
}

TEST(Seek, Interpolates) {
    int64_t landed = -1;
    EXPECT_THAT(SeekAcross(9285, 1000, &landed), ElementsAre());
    EXPECT_EQ(landed, 49226303);
    // The first probe, at 500,105, meets frame 50 and frame 60.
    EXPECT_THAT(SeekAcross(9843, 50, &landed), ElementsAre("setpos 524288 @516096 = 0"));
    EXPECT_THAT(SeekAcross(8202, 60, &landed), ElementsAre("setpos 442368 @516096 = 0"));
}

TEST(Seek, ATimeBeforeTheStartIsNextToTheFirstFrame) {
    // The target is frame -1: the first probe, in the padding, meets frame 0 and ends the search.
    StreamBuilder stream({192, 192, 0, 8000, 1, 16, 400, 200 * 192});
    Demuxer demuxer(stream.Block(kPadding, Bytes(9000)).Frames(0, 200, 300).Build());
    demuxer.source.counts.clear();
    EXPECT_EQ(demuxer.Seek(-360000), 0);
    EXPECT_EQ(demuxer.source.counts["read"], 5);
    EXPECT_EQ(demuxer.Read().bytes, FrameBytes({0}, 300));
}

TEST(Seek, RemembersNineNumbersAndEndsAtTheTenthRepeat) {
    const struct {
        uint64_t step, modulus, last;  // frame i has the number i * step % modulus, the last this
        int64_t time;
        uint64_t landed;   // the nearest of the numbers
        int64_t frame;     // that the reader then stands at
        int size_queries;  // one for each move, and for a frame that has no successor
    } rows[] = {
        // Meets eleven numbers, then steps from the nearest of nine; 0 is one that it has met.
        {1288, 437, 4370, 280122978, 299, 456, 26},
        // Nine, two of which are equally near: the first is taken.
        {7, 29, 1500, 708672874, 24, 1500, 29},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.modulus);
        Demuxer demuxer(NumberedStream(
            [&](uint64_t i) { return i == 1500 ? row.last : i * row.step % row.modulus; }));
        demuxer.source.counts.clear();
        int64_t landed = -1;
        EXPECT_EQ(demuxer.Seek(row.time, &landed), 0);
        EXPECT_EQ(landed, kelflacfd_frm_time(&demuxer.info, row.landed));
        EXPECT_EQ(logical_pos(&demuxer.ctx->fal), demuxer.ctx->first_frm_pos + 40 * row.frame);
        EXPECT_EQ(demuxer.source.counts["getsize"], row.size_queries);
    }
}

TEST(Seek, ResultsAndWhatFollows) {
    const Bytes stream = StreamBuilder{}.Frames(0, 200, 300).Build();
    const struct {
        int64_t time;
        int result;
        const char* reads;
        Bytes bytes;
        Hook hook;
    } rows[] = {
        {0, 0, "300@0 300@928798 ", stream, {}},
        {100000000, 0, "300@99381405 300@100310204 ", stream, {}},
        {9000000000, 0, "1 ", stream, {}},                // behind the last frame
        {INT64_MAX, 0, "300@0 300@928798 ", stream, {}},  // wraps to the start
        {0, -3, "300@0 300@928798 ", stream, UnknownSize},
        {0, -3, "1 ", Cat({stream, Bytes(301, 't')}), {}},  // no header near the end
        {0, -3, "300@0 300@928798 ", stream,
         [](Call& call) {
             if (call.op == "setpos") call.result = -1;
         }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        Demuxer demuxer(row.bytes, row.hook);
        ASSERT_EQ(demuxer.err, 0);
        EXPECT_EQ(demuxer.Seek(row.time), row.result);
        EXPECT_EQ(Reads(demuxer, 2), row.reads);
    }
}

}  // namespace
}  // namespace kelflac_test
