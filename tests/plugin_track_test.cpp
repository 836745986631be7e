// The track: statuses, times, all log lines and all checks that end the process.
#include <gmock/gmock.h>

#include "libextractor/flac/kelflac_source.h"
#include "tests/support/plugin_host.h"

namespace kelflac_test {

using namespace android;
static const std::string kLog = "4 KelFLACExtractorSO KelFLACSource";

TEST(Track, SeeksToTheFrameOfATimeOrItsNeighbour) {
    Started s(StreamBuilder{}.Frames(0, 100, 200).Build());
    const std::tuple<uint32_t, int64_t, uint64_t, std::string> rows[] = {
        {SEEK, 9287981, 99, "9195102"},  // the duration
        {SEEK, -9287981, 0, "0"},
        {SEEK | 3, 928800, 10, "928798"},
        {7, 5, 11, "1021678"}};  // no seek
    for (const auto& [options, us, number, at] : rows) {
        const auto [status, bytes, meta] = s.Read(options, us);
        EXPECT_EQ(bytes, FrameBytes({number}, 200)) << "not frame " << number << ", us: " << us;
        EXPECT_EQ(meta, "timeUs=" + at + "L, is-sync-frame=1, durationUs=92879L, ");
    }
}

TEST(Track, StopKeepsThePosition) {
    Started s(StreamBuilder{}.Frames(0, 3, 200).Build());
    EXPECT_EQ(s.Read().bytes, FrameBytes({0}, 200));
    EXPECT_EQ(s.track->stop(s.track->data), AMEDIA_OK);
    EXPECT_EQ(s.Start(), AMEDIA_OK);
    EXPECT_EQ(s.Read().bytes, FrameBytes({1}, 200));
}

TEST(Track, HasTheFormatOfItsExtractor) {
    Started s(StreamBuilder{}.Frames(0, 3, 200).Build());
    EXPECT_EQ(Entries(s.track->getFormat(s.track->data, s.meta), s.meta), s.TrackFormat());
}

TEST(Track, GivesNoDurationIfTheNextTimeWraps) {
    // 450359962 is the last number whose time in 100 ns, times the rate, fits 64 bits.
    Started s(StreamBuilder{}.Frames(0, 1, 200).Frames(450359962, 1, 200).Build());
    EXPECT_EQ(s.Read().status, AMEDIA_OK);
    EXPECT_EQ(s.Read().meta, "timeUs=41829351572607L, is-sync-frame=1, ");
}

TEST(Track, LogsWhatItRefuses) {
    const StreamBuilder three = StreamBuilder{}.Frames(0, 3, 200);
    const Bytes tabled = StreamBuilder(three).Block(kSeekTable, Bytes(18)).Build();
    StreamBuilder large = StreamBuilder{}.Frames(0, 1, 102400).Frames(1, 1, 102401);
    large.Frames(2, 1, 200);
    // The stream, its source, its flags, the time of the seek after the first frame (-1: none), the
    // status and log line of that read, the number of the next frame (-1: none).
    const std::tuple<Bytes, Hook, uint32_t, int64_t, int, const char*, int> rows[] = {
        {three.Build(), UnknownSize, 4, 0, -10002, "seek unavailable", 1},
        {three.Build(), {}, 15, 278640, -10006, "seek ERROR_END_OF_STREAM", 1},
        {tabled, UnknownSize, 15, 0, -10006, "kelflacfds_seek() failed!", 0},
        {large.Build(), {}, 15, -1, -10000, "ERROR_BUFFER_TOO_SMALL", 2},
        {StreamBuilder{}.Frames(0, 1, 200).Build(), {}, 15, -1, -10006, "ERROR_END_OF_STREAM", -1}};
    for (const auto& [bytes, hook, flags, us, status, line, next] : rows) {
        SCOPED_TRACE(line);
        Started s(bytes, hook);
        EXPECT_EQ(s.Read().status, AMEDIA_OK);
        EXPECT_EQ(s.Flags(), flags);
        EXPECT_EQ(s.Read(us < 0 ? 0 : uint32_t{SEEK}, us).status, status);
        EXPECT_EQ(TakeLog(), kLog + "::read() " + line + "\n");
        const Bytes frame = next < 0 ? Bytes{} : FrameBytes({static_cast<uint64_t>(next)}, 200);
        EXPECT_EQ(s.Read().bytes, frame) << "expected frame " << next << ", -1: none";
    }
}

/** A session with a track over the test's own holder. */
struct Held : Session {
    explicit Held(const sp<KelFLACFDSF>& holder)
        : Session(StreamBuilder{}.Frames(0, 3, 200).Build()),
          unwrapped(new KelFLACSource(nullptr, meta, holder)) {
        track.reset(wrap(unwrapped));
        AMediaFormat_setInt32(meta, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, 100);
    }
    KelFLACSource* const unwrapped;
};

TEST(Track, FailsWithoutAStreamABufferOrItsCodec) {
    const sp<KelFLACFDSF> closed = new KelFLACFDSF, wrong = new KelFLACFDSF;
    wrong->ctx = static_cast<KELFLACFD_CTX*>(calloc(1, sizeof(KELFLACFD_CTX)));
    wrong->ctx->magic = KELFLACFD_MAGIC, wrong->info.codec = KELFLACFD_CODEC_FLAC;  // not in ctx
    // The holder, the references that the track keeps, its buffers, the statuses, the log.
    const std::tuple<const sp<KelFLACFDSF>&, int, bool, int, int, std::string> rows[] = {
        {closed, 1, true, 0, AMEDIA_ERROR_IO, " create fail\n"},
        {closed, 1, false, 0, -10000, " create fail\n" + kLog + "::read() acquire_buffer false\n"},
        {wrong, 0, true, -10002, 0,
         "() : not supported video codec\n" + kLog + "::start() ERROR_UNSUPPORTED.\n"}};
    for (const auto& [holder, kept, has_buffers, start, read, log] : rows) {
        Held s(holder);
        CMediaBufferGroup group = *s.group;
        if (!has_buffers) group.add_buffer = [](void*, size_t) {};
        EXPECT_EQ(s.track->start(s.track->data, &group), start);
        CMediaBuffer* buffer = nullptr;
        EXPECT_EQ(start == 0 ? s.track->read(s.track->data, &buffer, 0, 0) : 0, read);
        EXPECT_EQ(holder->getStrongCount(), 1 + kept);
        EXPECT_EQ(TakeLog(), kLog + log);
    }
}

TEST(Track, ReadsWithoutOptions) {
    Held s(new KelFLACFDSF);
    EXPECT_EQ(s.Start(), AMEDIA_OK);
    MediaBufferHelper* buffer = nullptr;
    EXPECT_EQ(s.unwrapped->read(&buffer, nullptr), AMEDIA_ERROR_IO) << "no open stream";
}

TEST(Track, RefusesABufferThatIsSmallerThanTheFrame) {
    Started s(StreamBuilder{}.Frames(0, 3, 200).Build());
    CMediaBuffer* buffer = nullptr;
    s.group->acquire_buffer(s.group->handle, &buffer, false, 0);
    buffer->data = [](void*) -> void* { return nullptr; };  // the track itself must refuse
    buffer->size = [](void*) -> size_t { return 199; };
    buffer->release(buffer->handle);
    EXPECT_EQ(s.Read().status, AMEDIA_ERROR_UNKNOWN);
    EXPECT_EQ(TakeLog(), kLog + "::read() ERROR_BUFFER_TOO_SMALL\n")
        << "the log of the refused read";
}

TEST(Track, HasTheOptionalCallsOfItsBase) {
    Held s(new KelFLACFDSF);
    EXPECT_FALSE(s.track->supportsNonBlockingRead(s.track->data));
    EXPECT_EQ(s.track->getSyncFrameTime(s.track->data, 0, nullptr), -10002);
    EXPECT_EQ(s.track->setSlowFastInfo(s.track->data, nullptr), 0);
}

static auto Dies(const std::string& line, const std::string& check) {
    const std::string at = "F KelFLACExtractorSO: libextractor/flac/kelflac_extractor.cpp:" + line;
#ifdef KELFLAC_REAL_LIBS  // its log doesn't print the condition
    const std::string condition;
#else
    const std::string condition = "condition: !(" + check + ")\n";
#endif
    return testing::HasSubstr(at + " CHECK(" + check + ") failed.\n" + condition);
}

TEST(TrackDeathTest, FailedChecksEndTheProcess) {
    Held s(new KelFLACFDSF);
    const char* const check =
        "AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, &max_size)";
    EXPECT_DEATH(s.track->stop(s.track->data), Dies("541", "mStarted"));
    EXPECT_EQ(s.Start(), AMEDIA_OK);
    EXPECT_DEATH(s.Start(), Dies("521", "!mStarted"));
    EXPECT_EQ(s.track->stop(s.track->data), AMEDIA_OK);
    AMediaFormat_clear(s.meta);
    EXPECT_DEATH(s.Start(), Dies("529", check));
}

}  // namespace kelflac_test
