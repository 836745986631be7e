// The track: statuses, times, every line that it logs and every check that ends the process.
#include <gmock/gmock.h>

#include "libextractor/flac/kelflac_source.h"
#include "tests/support/plugin_host.h"

namespace kelflac_test {

using namespace android;
static const std::string kLog = "4 KelFLACExtractorSO KelFLACSource";

TEST(Track, SeeksToTheFrameOfATime) {
    Session s(StreamBuilder{}.Frames(0, 100, 200).Build());  // 9287981 us
    ASSERT_EQ(s.Start(), AMEDIA_OK);
    const int64_t rows[][4] = {{SEEK, 9287981, 99, 9195102},
                               {SEEK, -9287981, 0, 0},
                               {SEEK | 3, 928800, 10, 928798},
                               {7, 5, 11, 1021678}};
    for (const auto& [options, us, number, at] : rows) {
        const auto [status, bytes, meta] = s.Read(static_cast<uint32_t>(options), us);
        EXPECT_EQ(bytes, FrameBytes({static_cast<uint64_t>(number)}, 200)) << us;
        EXPECT_EQ(meta, "timeUs=" + std::to_string(at) + "L, is-sync-frame=1, durationUs=92879L, ");
    }
    s.source.counts.clear();
    EXPECT_EQ(s.Read(SEEK, 9287982).status, AMEDIA_ERROR_END_OF_STREAM);
    EXPECT_TRUE(s.source.counts.empty() && s.track->stop(s.track->data) == 0 && s.Start() == 0);
    EXPECT_EQ(s.Read().bytes, FrameBytes({12}, 200)) << "neither a refused seek nor a stop moves";
    EXPECT_EQ(Entries(s.track->getFormat(s.track->data, s.meta), s.meta), s.TrackFormat());
}

TEST(Track, StampsNothingOfTheFrameBefore) {
    // 450359962 is the last number whose time in 100 ns, times the rate, fits 64 bits.
    Session s(StreamBuilder{}.Frames(0, 1, 200).Frames(450359962, 1, 200).Build());
    ASSERT_TRUE(s.Start() == AMEDIA_OK && s.Read().status == AMEDIA_OK);
    EXPECT_EQ(s.Read().meta, "timeUs=41829351572607L, is-sync-frame=1, ");
}

TEST(Track, LogsWhatItRefuses) {
    const StreamBuilder three = StreamBuilder{}.Frames(0, 3, 200);
    const std::tuple<StreamBuilder, bool, int64_t, uint32_t, int, const char*, Bytes> rows[] = {
        {three, false, 0, 4, -10002, "seek unavailable", FrameBytes({1}, 200)},
        {three, true, 278640, 15, -10006, "seek ERROR_END_OF_STREAM", FrameBytes({1}, 200)},
        {StreamBuilder(three).Block(kSeekTable, Bytes(18)), false, 0, 15, -10006,
         "kelflacfds_seek() failed!", FrameBytes({0}, 200)},
        {StreamBuilder{}.Frames(0, 1, 102400).Frames(1, 1, 102401).Frames(2, 1, 200), true, -1, 15,
         -10000, "ERROR_BUFFER_TOO_SMALL", FrameBytes({2}, 200)},
        {StreamBuilder{}.Frames(0, 1, 200), true, -1, 15, -10006, "ERROR_END_OF_STREAM", {}}};
    for (const auto& [stream, size_known, us, flags, status, line, next] : rows) {
        Session s(stream.Build(), size_known ? Hook{} : UnknownSize);
        ASSERT_TRUE(s.Start() == AMEDIA_OK && s.Read().status == AMEDIA_OK);
        EXPECT_EQ(s.extractor->flags(s.extractor->data), flags);
        EXPECT_EQ(s.Read(us < 0 ? 0 : uint32_t{SEEK}, us).status, status);
        EXPECT_EQ(TakeLog(), kLog + "::read() " + line + "\n");
        EXPECT_EQ(s.Read().bytes, next) << line;
    }
}

TEST(Track, ChecksItsHolderAndItsCalls) {
    Session s(StreamBuilder{}.Frames(0, 3, 200).Build()), other(s.source.data);
    const sp<KelFLACFDSF> closed = new KelFLACFDSF, wrong = new KelFLACFDSF;
    s.track.reset(wrap(new KelFLACSource(nullptr, s.meta, closed)));
    const auto [self, free, start, stop, format, read, async, syncTime, slowFast] = *s.track;
    EXPECT_EQ(async(self) + syncTime(self, 0, nullptr) + slowFast(self, nullptr), -10002);
    AMediaFormat_setInt32(s.meta, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, 100);
    CMediaBufferGroup empty = *s.group;
    empty.add_buffer = [](void*, size_t) {};
    EXPECT_TRUE(start(self, &empty) == 0 && read(self, nullptr, 0, 0) == -10000);
    EXPECT_TRUE(stop(self) == AMEDIA_OK && s.Start() == AMEDIA_OK);
    EXPECT_EQ(s.Read().status, AMEDIA_ERROR_IO);
    wrong->ctx = static_cast<KELFLACFD_CTX*>(calloc(1, sizeof(KELFLACFD_CTX)));
    wrong->ctx->magic = KELFLACFD_MAGIC;
    other.track.reset(wrap(new KelFLACSource(nullptr, other.meta, wrong)));
    EXPECT_EQ(other.Start(), AMEDIA_ERROR_UNSUPPORTED);
    EXPECT_TRUE(closed->getStrongCount() == 2 && wrong->getStrongCount() == 1);
    EXPECT_EQ(TakeLog(), kLog + " create fail\n" + kLog + "::read() acquire_buffer false\n" + kLog +
                             "() : not supported video codec\n" + kLog +
                             "::start() ERROR_UNSUPPORTED.\n");
}

static auto Dies(const std::string& line, const std::string& check) {
    const std::string at = "F KelFLACExtractorSO: libextractor/flac/kelflac_extractor.cpp:" + line;
    return testing::HasSubstr(at + " CHECK(" + check + ") failed.\ncondition: !(" + check + ")\n");
}

TEST(TrackDeathTest, CallsOutOfTurnEndTheProcess) {
    Session s(StreamBuilder{}.Frames(0, 3, 200).Build());
    s.track.reset(wrap(new KelFLACSource(nullptr, s.meta, new KelFLACFDSF)));
    const char* const check =
        "AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, &max_size)";
    EXPECT_DEATH(s.Start(), Dies("529", check));
    EXPECT_DEATH(s.track->stop(s.track->data), Dies("541", "mStarted"));
    AMediaFormat_setInt32(s.meta, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, 100);
    ASSERT_EQ(s.Start(), AMEDIA_OK);
    EXPECT_DEATH(s.Start(), Dies("521", "!mStarted"));
}

}  // namespace kelflac_test
