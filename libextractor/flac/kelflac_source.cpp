#include "libextractor/flac/kelflac_source.h"

#include <algorithm>

#include "libextractor/flac/kelflac_log.h"

namespace android {
namespace {

/** A check that ends the process when it fails. Its line number is a fixed part of the log's text.
    It doesn't change when lines move. */
struct Check {
    const char* condition;
    int line;
    const char* message;
};

/** The path is a fixed part of the log's text too. It is not this file's. */
constexpr const char* CHECK_SOURCE_PATH = "libextractor/flac/kelflac_extractor.cpp";
constexpr Check CHECK_START_STOPPED = {"!(!mStarted)", 521, " CHECK(!mStarted) failed."};
constexpr Check CHECK_START_MAX_SIZE = {
    "!(AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, &max_size))", 529,
    " CHECK(AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, &max_size)) failed."};
constexpr Check CHECK_STOP_STARTED = {"!(mStarted)", 541, " CHECK(mStarted) failed."};

void require(bool holds, const Check& check) {
    if (holds) return;
    __android_log_assert(check.condition, KELFLAC_LOG_TAG, "%s:%d%s", CHECK_SOURCE_PATH, check.line,
                         check.message);
}

/** Locks a mutex until the end of a scope. */
class ScopedLock {
  public:
    explicit ScopedLock(pthread_mutex_t* lock) : mLock(lock) { pthread_mutex_lock(mLock); }
    ~ScopedLock() { pthread_mutex_unlock(mLock); }
    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

  private:
    pthread_mutex_t* mLock;
};

}  // namespace

KelFLACSource::KelFLACSource(DataSourceHelper* source, AMediaFormat* format,
                             const sp<KelFLACFDSF>& fdsf)
    : mDataSource(source), mFormat(format), mFDSF(fdsf) {
    pthread_mutex_init(&mLock, nullptr);
    if (mFDSF->ctx == nullptr) {
        logInfo("KelFLACSource create fail");
        return;
    }
    kelflacfd_get_info(mFDSF->ctx, &mFDSF->info);
    if (mFDSF->info.codec != KELFLACFD_CODEC_FLAC) {
        logInfo("KelFLACSource() : not supported video codec");
        mFDSF.clear();
    }
}

KelFLACSource::~KelFLACSource() {
    if (mStarted) stopLocking();
    mFDSF.clear();
    pthread_mutex_destroy(&mLock);
}

media_status_t KelFLACSource::start() {
    const ScopedLock lock(&mLock);
    require(!mStarted, CHECK_START_STOPPED);
    if (mFDSF == nullptr) {
        logInfo("KelFLACSource::start() ERROR_UNSUPPORTED.");
        return AMEDIA_ERROR_UNSUPPORTED;
    }
    int32_t max_size = 0;
    require(AMediaFormat_getInt32(mFormat, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, &max_size),
            CHECK_START_MAX_SIZE);
    mBufferGroup->add_buffer(static_cast<size_t>(max_size));
    mStarted = true;
    return AMEDIA_OK;
}

media_status_t KelFLACSource::stop() {
    return stopLocking();
}

/** The work of stop(). Not virtual, because the destructor calls it. */
media_status_t KelFLACSource::stopLocking() {
    const ScopedLock lock(&mLock);
    require(mStarted, CHECK_STOP_STARTED);
    mStarted = false;
    return AMEDIA_OK;
}

media_status_t KelFLACSource::getFormat(AMediaFormat* meta) {
    const ScopedLock lock(&mLock);
    AMediaFormat_copy(meta, mFormat);
    return AMEDIA_OK;
}

media_status_t KelFLACSource::read(MediaBufferHelper** buffer, const ReadOptions* options) {
    const ScopedLock lock(&mLock);
    *buffer = nullptr;
    if (mBufferGroup->acquire_buffer(&mBuffer, false, 0) != AMEDIA_OK) {
        logInfo("KelFLACSource::read() acquire_buffer false");
        return AMEDIA_ERROR_UNKNOWN;
    }
    media_status_t status = seekIfAsked(options);
    if (status == AMEDIA_OK) status = fillBuffer();
    if (status == AMEDIA_OK) *buffer = mBuffer;
    mBuffer = nullptr;
    return status;
}

/** Releases the buffer, logs `line` unless it is null, and returns `status`. */
media_status_t KelFLACSource::refuse(const char* line, media_status_t status) {
    mBuffer->release();
    mBuffer = nullptr;
    if (line != nullptr) logInfo(line);
    return status;
}

media_status_t KelFLACSource::seekIfAsked(const ReadOptions* options) {
    int64_t timeUs = 0;
    ReadOptions::SeekMode mode;  // not used: every frame is a sync frame
    if (options == nullptr || !options->getSeekTo(&timeUs, &mode)) return AMEDIA_OK;

    const KELFLACFD_INFO& info = mFDSF->info;
    if (info.seekable != 1) {
        return refuse("KelFLACSource::read() seek unavailable", AMEDIA_ERROR_UNSUPPORTED);
    }
    if (timeUs > info.duration / TICKS_PER_MICROSECOND) {
        return refuse("KelFLACSource::read() seek ERROR_END_OF_STREAM", AMEDIA_ERROR_END_OF_STREAM);
    }
    const int64_t target = std::max<int64_t>(timeUs, 0) * TICKS_PER_MICROSECOND;
    int64_t landed = 0;
    if (kelflacfd_seek(mFDSF->ctx, &target, &landed) != KELFLACFD_OK) {
        return refuse("KelFLACSource::read() kelflacfds_seek() failed!",
                      AMEDIA_ERROR_END_OF_STREAM);
    }
    return AMEDIA_OK;
}

/** Copies the next frame or piece into mBuffer and sets its times. On failure releases mBuffer. */
media_status_t KelFLACSource::fillBuffer() {
    uint32_t length = 0;
    int64_t time = 0;
    int64_t nextTime = 0;
    const size_t capacity = mBuffer->size();
    const auto limit = static_cast<int32_t>(std::min<size_t>(capacity, INT32_MAX));
    const int result = kelflacfd_get_frm(mFDSF->ctx, static_cast<uint8_t*>(mBuffer->data()), limit,
                                         &length, &time, &nextTime);
    if (result == KELFLACFD_E_FRAME_SIZE) {
        return refuse("KelFLACSource::read() ERROR_BUFFER_TOO_SMALL", AMEDIA_ERROR_UNKNOWN);
    }
    if (result == KELFLACFD_END) {
        return refuse("KelFLACSource::read() ERROR_END_OF_STREAM", AMEDIA_ERROR_END_OF_STREAM);
    }
    if (result != KELFLACFD_OK) return refuse(nullptr, AMEDIA_ERROR_IO);
    if (capacity < length) {
        logInfo("KelFLACSource::read() ERROR_BUFFER_TOO_SMALL");
        return refuse(nullptr, AMEDIA_ERROR_UNKNOWN);
    }

    mBuffer->set_range(0, length);
    AMediaFormat* meta = mBuffer->meta_data();
    AMediaFormat_setInt64(meta, AMEDIAFORMAT_KEY_TIME_US, time / TICKS_PER_MICROSECOND);
    AMediaFormat_setInt32(meta, AMEDIAFORMAT_KEY_IS_SYNC_FRAME, 1);
    if (time < nextTime) {
        AMediaFormat_setInt64(meta, AMEDIAFORMAT_KEY_DURATION,
                              (nextTime - time) / TICKS_PER_MICROSECOND);
    }
    return AMEDIA_OK;
}

}  // namespace android
