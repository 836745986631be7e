// Opening, reading and seeking whole streams.
#include <gtest/gtest.h>

#include "tests/support/demuxer_host.h"
#include "tools/streams/hostile_streams.h"

namespace kelflac_test {
namespace {

StreamInfo Info(uint32_t max_frame, uint64_t samples = 441000, uint32_t bits = 16) {
    return {4096, 4096, 0, 44100, 2, bits, max_frame, samples};
}

/** "size@start" for each frame delivered, the status for any other read, up to the end. */
std::string Reads(Demuxer* demuxer, int count, int32_t buf_size = 102400) {
    std::string out;
    for (int i = 0, status = 0; i < count && status != 1; ++i) {
        const Frame frame = demuxer->Read(buf_size);
        status = frame.status;
        out += std::to_string(status == 0 ? static_cast<int>(frame.length) : status);
        out += status == 0 ? "@" + std::to_string(frame.time) + " " : " ";
    }
    return out;
}

TEST(Open, TellsDurationByteRateAndSizes) {
    const auto two = [](const StreamInfo& info, size_t seek_table = 0) {
        StreamBuilder out(info);
        if (seek_table > 0) out.Block(kSeekTable, Bytes(seek_table));
        return out.Frames(98, 2, 200).Build();
    };
    const Bytes many = StreamBuilder(Info(300)).Raw({0, 0}).Frames(0, 5000, 200).Build();
    const Hook sound;
    // Duration, byte rate, seekable, largest frame, ring; the stream, its source, a given duration.
    const std::tuple<int64_t, int, int, int, int, Bytes, Hook, int64_t> rows[] = {
        {100000000, 100000, 1, 300, 8192, many, sound, 0},
        {10000000, 400, 1, 300, 8192, two(Info(300)), sound, 10000000},
        {92879818, 43, 1, 300, 8192, two(Info(300, 0)), sound, 0},     // the last frame is 99
        {928798, 4306, 1, 9000, 16384, two(Info(9000, 0)), sound, 0},  // less than a frame's size
        {100000000, 0, 0, 300, 8192, two(Info(300)), UnknownSize, 0},
        {100000000, 0, 1, 300, 8192, two(Info(300), 20), UnknownSize, 0},
        {100000000, 0, 1, 300, 8192, two(Info(300), 17), UnknownSize, 0},  // not even one point
        {100000000, 40, 1, 8192, 16384, two(Info(0, 441000, 12)), sound, 0},
        {100000000, 40, 1, 27648, 32768, two({4608, 4608, 0, 44100, 2, 24, 0, 441000}), sound, 0},
    };
    for (const auto& [duration, byte_rate, seekable, largest, ring, bytes, hook, given] : rows) {
        SCOPED_TRACE(duration);
        Demuxer d(bytes, hook, given);
        ASSERT_EQ(d.err, 0);
        EXPECT_EQ(d.info.duration, duration);
        EXPECT_EQ(d.info.byte_rate, byte_rate);
        EXPECT_EQ(d.info.seekable, seekable);
        EXPECT_EQ(d.info.max_frm_size, largest);
        EXPECT_EQ(d.ctx->fal.size, ring);
        EXPECT_EQ(logical_pos(&d.ctx->fal), d.ctx->first_frm_pos);
    }
}

TEST(Open, RefusesAnUntimedStreamWhoseLastFrameCantBeReached) {
    const Bytes untimed = StreamBuilder(Info(300, 0)).Frames(0, 60, 200).Build();
    EXPECT_EQ(Demuxer(untimed, RefusePositions).err, -3);
}

TEST(Open, AsksASourceThatRefusesForNothingMore) {
    Demuxer refused({}, [](Call& call) { call.result = -1; });
    EXPECT_EQ(refused.err, -4);
    EXPECT_EQ(refused.source.Lines(), Texts{"open 18 @0 = -1"});
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

TEST(Context, HasNoFormatWithoutStreamInfo) {
    Bytes stream = StreamBuilder{}.Frames(0, 3, 100).Build();
    stream[4] = kPadding | kLastBlockFlag;
    Demuxer demuxer(stream, UnknownSize);
    int size = 99;
    EXPECT_EQ(kelflacfd_get_fmt(demuxer.ctx, nullptr, &size), -3);
    EXPECT_EQ(size, 0);
}

TEST(Context, RefusesBadHandles) {
    KELFLACFD_CTX closed = {};
    KELFLACFD_INFO info;
    uint32_t length = 0;
    int64_t time = 0;
    int size = 0;
    for (KELFLACFD_CTX* bad : {static_cast<KELFLACFD_CTX*>(nullptr), &closed}) {
        kelflacfd_delete(bad);
        EXPECT_EQ(kelflacfd_get_info(bad, &info), -1);
        EXPECT_EQ(kelflacfd_get_fmt(bad, nullptr, &size), -1);
        EXPECT_EQ(kelflacfd_get_frm(bad, nullptr, 0, &length, &time, &time), -1);
        EXPECT_EQ(kelflacfd_seek(bad, &time, &time), -1);
    }
    MemorySource empty;
    _KELCMN_MFAL record = empty.Record();
    EXPECT_EQ(kelflacfd_create(&record, &time, &info, nullptr), nullptr) << "an error has no place";
}

TEST(Read, LooksWithoutABufferAndCountsIt) {
    Demuxer demuxer(StreamBuilder{}.Frames(7, 3, 200).Build());
    for (int left : {243, 242}) {
        Frame look;
        look.status =
            kelflacfd_get_frm(demuxer.ctx, nullptr, 0, &look.length, &look.time, &look.next_time);
        EXPECT_EQ(look.status, 0);
        EXPECT_EQ(look.length, 200U);
        EXPECT_EQ(look.time, 6501587);
        EXPECT_EQ(look.next_time, 7430385);
        EXPECT_EQ(demuxer.ctx->full_check_count, left);
    }
    EXPECT_EQ(Reads(&demuxer, 1), "200@6501587 ");
}

TEST(Read, GivesPiecesAfter244NumberedFrames) {
    const Bytes stream = StreamBuilder(Info(300)).Frames(0, 250, 200).Build();
    Demuxer demuxer(stream);
    for (int i = 0; i < 245; ++i) ASSERT_EQ(demuxer.Read().bytes.size(), 200U) << i;
    const Frame piece = demuxer.Read();
    EXPECT_EQ(piece.bytes, Bytes(stream.end() - 1000, stream.end() - 700));
    EXPECT_EQ(piece.next_time, 928798);
    EXPECT_EQ(Reads(&demuxer, 5), "300@0 300@0 100@0 1 ");
}

TEST(Read, CountsFramesThatItLeavesOutUntilASeek) {
    Demuxer demuxer(StreamBuilder(Info(300)).Frames(0, 250, 200).Build());
    for (int i = 0; i < 245; ++i) ASSERT_EQ(demuxer.Read(199).status, -7) << i;
    EXPECT_EQ(Reads(&demuxer, 6, 199), "-7 -7 -7 -7 -7 -7 ") << "pieces, also at the file's end";
    EXPECT_EQ(demuxer.Seek(0), 0);
    EXPECT_EQ(Reads(&demuxer, 2), "200@0 200@928798 ");
}

TEST(Seek, StepsOnTheLineToTheFarBracket) {
    // The size and number of the first frames, which others follow evenly up to 10 MB; what moves
    // come after the first probe, at 500,105.
    const std::tuple<size_t, size_t, Texts> rows[] = {
        {9285, 1000, {}},
        {9843, 50, {"setpos 524288 @516096 = 0"}},   // frame 50 is met first
        {8202, 60, {"setpos 442368 @516096 = 0"}}};  // frame 60
    for (const auto& [size, count, moves] : rows) {
        SCOPED_TRACE(size);
        const size_t rest = 10'000'000 - size * count, even = rest / (1077 - count);
        StreamBuilder stream(Info(12000, 1077 * 4096));
        stream.Block(kPadding, Bytes(8000 - 46)).Frames(0, count, size);
        stream.Frames(count, 1076 - count, even).Frames(1076, 1, rest - even * (1076 - count));
        Demuxer demuxer(stream.Build());
        EXPECT_EQ(demuxer.info.byte_rate, 99968);
        demuxer.source.calls.clear();
        int64_t landed = -1;
        EXPECT_EQ(demuxer.Seek(50000000, &landed), 0);
        EXPECT_EQ(landed, 49226303);
        EXPECT_EQ(demuxer.Read().time, landed);
        const Texts all = demuxer.source.Lines("setpos");
        EXPECT_EQ(Texts(all.begin() + 3, all.end()), moves);
    }
}

TEST(Seek, ToATimeBeforeTheStartMeetsTheFirstFrame) {
    // The target is frame -1: the first probe, in the padding, meets frame 0 and ends the search.
    StreamBuilder stream({192, 192, 0, 8000, 1, 16, 400, 200 * 192});
    Demuxer demuxer(stream.Block(kPadding, Bytes(9000)).Frames(0, 200, 300).Build());
    demuxer.source.counts.clear();
    EXPECT_EQ(demuxer.Seek(-360000), 0);
    EXPECT_EQ(demuxer.source.counts["read"], 5);
    EXPECT_EQ(demuxer.Read().bytes, FrameBytes({0}, 300));
}

TEST(Seek, RemembersNineNumbersAndEndsAtTheTenthRepeat) {
    // The frames' numbers; the time sought; that of the nearest number; the frame that the reader
    // stands at; how often the size is asked for: for each move, and each frame without a
    // successor.
    const std::tuple<uint64_t (*)(uint64_t), int64_t, int64_t, int, int> rows[] = {
        // Meets eleven numbers, then steps from the nearest of nine; 0 is one that it has met.
        {[](uint64_t i) { return i == 1500 ? 4370 : i * 1288 % 437; }, 280122978, 277710657, 456,
         26},
        // Nine, two of which are equally near: the first is taken.
        {[](uint64_t i) { return i == 1500 ? 1500 : i * 7 % 29; }, 708672874, 22291156, 1500, 29},
    };
    for (const auto& [number, time, nearest, frame, size_queries] : rows) {
        SCOPED_TRACE(time);
        Demuxer demuxer(NumberedStream(number));
        demuxer.source.counts.clear();
        int64_t landed = -1;
        EXPECT_EQ(demuxer.Seek(time, &landed), 0);
        EXPECT_EQ(landed, nearest);
        EXPECT_EQ(logical_pos(&demuxer.ctx->fal), demuxer.ctx->first_frm_pos + 40 * frame);
        EXPECT_EQ(demuxer.source.counts["getsize"], size_queries);
    }
}

TEST(Seek, EndsWhereReadsGoOn) {
    const Bytes stream = StreamBuilder{}.Frames(0, 200, 300).Build();
    const std::tuple<const char*, int64_t, int, const char*, Bytes, Hook> rows[] = {
        {"past the last frame", 9000000000, 0, "1 ", stream, {}},
        {"a time that wraps to the start", INT64_MAX, 0, "300@0 300@928798 ", stream, {}},
        {"of unknown size", 0, -3, "300@0 300@928798 ", stream, UnknownSize},
        {"no header near the end", 0, -3, "1 ", Cat({stream, Bytes(301, 't')}), {}},
        {"a source that doesn't move", 0, -3, "300@0 300@928798 ", stream, RefusePositions},
    };
    for (const auto& [what, time, result, reads, bytes, hook] : rows) {
        SCOPED_TRACE(what);
        Demuxer demuxer(bytes, hook);
        EXPECT_EQ(demuxer.Seek(time), result);
        EXPECT_EQ(Reads(&demuxer, 2), reads);
    }
}

}  // namespace
}  // namespace kelflac_test
