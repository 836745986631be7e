// Opening, reading and seeking whole streams.
#include <gtest/gtest.h>

#include <cstdlib>

#include "libextractor/mfal/kelcmn_mfal_memory.h"
#include "tests/support/demuxer_host.h"

namespace kelflac_test {

static StreamInfo Info(uint32_t max_frame, uint64_t samples = 441000, uint32_t bits = 16) {
    return {4096, 4096, 0, 44100, 2, bits, max_frame, samples};
}

TEST(Open, GivesDurationByteRateAndSizes) {
    const auto two = [](const StreamInfo& info, size_t seek_table = 0) {
        StreamBuilder out(info);
        if (seek_table > 0) out.Block(kSeekTable, Bytes(seek_table));
        return out.Frames(98, 2, 200).Build();
    };
    const Bytes many = StreamBuilder(Info(300)).Raw(Bytes(20)).Frames(0, 5000, 200).Build();
    const Hook sound;
    // Duration, byte rate, seekable, largest frame, ring; the stream, its source, `in_duration`.
    const std::tuple<const char*, int64_t, int, int, int, int, Bytes, Hook, int64_t> rows[] = {
        {"many frames", 100000000, 100000, 1, 300, 8192, many, sound, 0},
        {"a given duration", 10000000, 400, 1, 300, 8192, two(Info(300)), sound, 10000000},
        {"a byte rate that wraps", 1, -294967296, 1, 300, 8192, two(Info(300)), sound, 1},
        {"no total, last frame 99", 92879818, 43, 1, 300, 8192, two(Info(300, 0)), sound, 0},
        {"no total, the largest frame as long as the file", 92879818, 43, 1, 442, 8192,
         two(Info(442, 0)), sound, 0},
        {"no total, a file smaller than the largest frame", 928798, 4306, 1, 9000, 16384,
         two(Info(9000, 0)), sound, 0},
        {"source of unknown size", 100000000, 0, 0, 300, 8192, two(Info(300)), UnknownSize, 0},
        {"source of unknown size, a SEEKTABLE", 100000000, 0, 1, 300, 8192, two(Info(300), 20),
         UnknownSize, 0},
        {"source of unknown size, a SEEKTABLE of 17 bytes", 100000000, 0, 1, 300, 8192,
         two(Info(300), 17), UnknownSize, 0},
        {"the largest frame for a ring of 8 KiB", 100000000, 40, 1, 4083, 8192, two(Info(4083)),
         sound, 0},
        {"one byte more", 100000000, 40, 1, 4084, 16384, two(Info(4084)), sound, 0},
        {"no largest frame", 100000000, 40, 1, 8192, 16384, two(Info(0, 441000, 12)), sound, 0},
        {"no largest frame, 24 bits", 100000000, 40, 1, 27648, 32768,
         two({4608, 4608, 0, 44100, 2, 24, 0, 441000}), sound, 0},
        {"a total above 32 bits", 4869677433106, 0, 1, 300, 8192,
         two(Info(300, (5LL << 32) + 441000)), sound, 0},
        {"a rate of 1 Hz", 4410000000000, 0, 1, 300, 8192,
         two({4096, 4096, 0, 1, 2, 16, 300, 441000}), sound, 0},
    };
    for (const auto& [name, duration, byte_rate, seekable, largest, ring, bytes, hook, given] :
         rows) {
        SCOPED_TRACE(name);
        Demuxer d(bytes, hook, given);
        ASSERT_EQ(d.err, 0);
        EXPECT_EQ(d.info.duration, duration);
        EXPECT_EQ(d.info.byte_rate, byte_rate);
        EXPECT_EQ(d.info.seekable, seekable);
        EXPECT_EQ(d.info.max_frm_size, largest);
        EXPECT_EQ(d.ctx->fal.size, ring);
        EXPECT_EQ(d.Read(0).length, 200U) << "the first frame";
    }
}

TEST(Open, RefusesAnUntimedStreamWhoseLastFrameCantBeReached) {
    const Bytes untimed = StreamBuilder(Info(300, 0)).Frames(0, 60, 200).Build();
    EXPECT_EQ(Demuxer(untimed, RefusePositions).err, -3);
}

TEST(Open, BelievesASourceThatStatesTooFewBytes) {
    const StreamBuilder picture = StreamBuilder{}.Picture({Text("image")});
    const Bytes file = StreamBuilder(picture).Frames(0, 3, 200).Build();
    const auto end = static_cast<int64_t>(picture.Build().size());
    // The getsize call (from 0) that first gives the size; the size; what is expected.
    const std::tuple<int, int64_t, std::tuple<int, int, int>> rows[] = {
        {0, 1, {-3, 0, 0}}, {1, 1, {0, 0, 1}}, {1, end, {0, 1, 1}}, {2, 1, {0, 1, 1}}};
    for (const auto& [first, stated, expected] : rows) {
        Demuxer demuxer(file, [from = first, size = stated](Call& call) {
            if (call.op == "getsize" && call.index >= from) call.result = size;
        });
        const int pictures = demuxer.ctx != nullptr ? demuxer.ctx->tag_rec.pic_num : 0;
        EXPECT_EQ(std::tuple(demuxer.err, pictures, demuxer.info.seekable), expected)
            << "status, pictures, seekable; getsize gives " << stated << " from call " << first;
    }
}

TEST(Open, MakesNoMoreCallsWhenTheSourceDoesNotOpen) {
    Demuxer refused({}, [](Call& call) { call.result = -1; });
    EXPECT_EQ(refused.err, -4);
    EXPECT_EQ(refused.source.Lines(), Texts{"open 18 @0 = -1"});
}

TEST(Open, SkipsAnId3v2TagWithASizeOf28Bits) {
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
    closed.full_check_count = 1;
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
        EXPECT_FALSE(kelflacfd_reads_frames(bad));
    }
}

TEST(Open, TakesBytesInMemory) {
    KELCMN_MFAL_MEMORY source = {nullptr, 0};
    _KELCMN_MFAL record = kelcmn_mfal_memory(&source);
    KELFLACFD_INFO info;
    int64_t none = 0, time = 150 * 928798, landed = 0;
    EXPECT_EQ(kelflacfd_create(&record, &none, &info, nullptr), nullptr) << "`err` may be null";
    long long value = 7;
    EXPECT_EQ(record.setpos(&source, &value), 0);
    EXPECT_EQ(record.getpos(&source, &value), 0);
    EXPECT_EQ(record.getsize(&source, &value), 0);
    const Bytes stream = StreamBuilder{}.Frames(0, 200, 300).Build();
    Bytes last(9);
    source = {stream.data(), stream.size(), static_cast<long long>(stream.size()) - 3};
    EXPECT_EQ(record.read(&source, last.data(), 9), 3) << "3 bytes are left";
    EXPECT_EQ(last, Cat({Bytes(stream.end() - 3, stream.end()), Bytes(6)}));
    KELFLACFD_CTX* const ctx = kelflacfd_create(&record, nullptr, &info, nullptr);
    EXPECT_EQ(kelflacfd_seek(ctx, &time, &landed), 0);
    EXPECT_LE(std::abs(landed - time), 928798);
    kelflacfd_delete(ctx);
}

TEST(Read, LooksFor245FramesThenGivesPieces) {
    Opened demuxer(StreamBuilder(Info(300)).Frames(0, 250, 200).Build());
    int frames = 0;
    for (; kelflacfd_reads_frames(demuxer.ctx); ++frames)
        ASSERT_EQ(demuxer.Read().length, 200U) << "frame " << frames;
    EXPECT_EQ(frames, 245) << "frame 0 is not counted";
    EXPECT_EQ(demuxer.Read().length, 300U);
}

TEST(Seek, ThatMeetsNoFrameLandsOn0) {
    Opened demuxer(StreamBuilder{}.Frames(7, 1, 200).Build());
    int64_t landed = -1;
    EXPECT_EQ(demuxer.Seek(demuxer.info.duration, &landed), 0);
    EXPECT_EQ(landed, 0);
}

TEST(Read, GivesTime0WhereTheBlockSizeVaries) {
    Opened demuxer(StreamBuilder{}.Frames(5, 9, 200).Build());
    demuxer.ctx->info.min_block = 16;
    const Frame frame = demuxer.Read();
    EXPECT_EQ(frame.time, 0);
    EXPECT_EQ(frame.next_time, 0);
    int64_t landed = -1;
    EXPECT_EQ(demuxer.Seek(9000000, &landed), 0);
    EXPECT_EQ(landed, 0);
}

}  // namespace kelflac_test
