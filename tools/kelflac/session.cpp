#include "session.h"

#include <cerrno>
#include <cstring>

#include "errors.h"
#include "text.h"

namespace kelflac {
namespace {

// Once the plug-in has stopped searching for frames, a stream whose largest frame exceeds the
// buffer is refused for ever, even at its end. A stream whose frames are numbered goes on again
// before it gets there.
constexpr uint64_t kMaxRefusalsInARow = 256;

std::optional<int64_t> int64Of(AMediaFormat* format, const char* key) {
    int64_t value = 0;
    if (!AMediaFormat_getInt64(format, key, &value)) return std::nullopt;
    return value;
}

/** Looks into a buffer. A time that its meta data lacks is not known. */
Frame frameIn(const android::CMediaBuffer& buffer, uint64_t index) {
    AMediaFormat* meta = buffer.meta_data(buffer.handle);
    int32_t sync = 0;
    AMediaFormat_getInt32(meta, AMEDIAFORMAT_KEY_IS_SYNC_FRAME, &sync);
    const auto* data = static_cast<const uint8_t*>(buffer.data(buffer.handle));
    return {index,
            data + buffer.range_offset(buffer.handle),
            buffer.range_length(buffer.handle),
            int64Of(meta, AMEDIAFORMAT_KEY_TIME_US),
            int64Of(meta, AMEDIAFORMAT_KEY_DURATION),
            sync != 0};
}

}  // namespace

FileInput::FileInput(const std::string& path, bool size_known)
    : FileSource(path.c_str()), mSizeKnown(size_known) {
    if (!isOpen()) mError = errno;
}

ssize_t FileInput::readAt(off64_t offset, void* data, size_t size) {
    if (offset < 0) return android::UNKNOWN_ERROR;
    const ssize_t count = FileSource::readAt(offset, data, size);
    if (count < 0 && mError == 0) mError = errno;
    if (count > 0) mPosition = offset + count;
    return count;
}

android::status_t FileInput::getSize(off64_t* size) {
    *size = 0;
    return mSizeKnown ? FileSource::getSize(size) : android::UNKNOWN_ERROR;
}

Session::~Session() {
    if (mStarted) mTrack->stop(mTrack->data);
    if (mSniffMeta != nullptr && mFreeSniffMeta != nullptr) mFreeSniffMeta(mSniffMeta);
}

void Session::open() {
    float confidence = 0;
    const android::CreatorFunc create =
        mPlugin.definition().u.v3.sniff(mInput.slots(), &confidence, &mSniffMeta, &mFreeSniffMeta);
    if (create == nullptr) refuse("not claimed by the plug-in");
    mConfidence = confidence;
    mExtractor.reset(create(mInput.slots(), mSniffMeta));
    if (mExtractor == nullptr) refuse("no extractor created");
    if (mExtractor->countTracks(mExtractor->data) == 0) {
        refuse("the stream can't be opened: it is damaged or of an unsupported kind");
    }
    mTrackFormat.reset(AMediaFormat_new());
    mFileMeta.reset(AMediaFormat_new());
    if (mTrackFormat == nullptr || mFileMeta == nullptr) refuse("out of memory");
    media_status_t status =
        mExtractor->getTrackMetaData(mExtractor->data, mTrackFormat.get(), 0, 0);
    if (status == AMEDIA_OK) status = mExtractor->getMetaData(mExtractor->data, mFileMeta.get());
    if (status != AMEDIA_OK) refuse("no format: " + statusText(status));
}

void Session::startTrack() {
    mGroup.reset(host::newBufferGroup());
    if (mGroup == nullptr) refuse("out of memory");
    mTrack.reset(mExtractor->getTrack(mExtractor->data, 0));
    if (mTrack == nullptr) refuse("no track");
    const media_status_t status = mTrack->start(mTrack->data, mGroup.get());
    if (status != AMEDIA_OK) refuse("the track does not start: " + statusText(status));
    mStarted = true;
}

Run Session::read(std::optional<int64_t> seek_us, const std::function<bool(const Frame&)>& handle) {
    Run run;
    bool seeking = seek_us.has_value();
    for (uint64_t in_a_row = 0; in_a_row < kMaxRefusalsInARow; seeking = false) {
        const uint32_t options = seeking ? uint32_t{android::CMediaTrackReadOptions::SEEK} : 0;
        android::CMediaBuffer* acquired = nullptr;
        run.status = mTrack->read(mTrack->data, &acquired, options, seek_us.value_or(0));
        // The track waits for its one buffer: this one must be back before the next read.
        const Owned<android::CMediaBuffer> buffer(acquired);
        if (run.status == AMEDIA_ERROR_UNKNOWN) {
            ++run.refused;
            ++in_a_row;
            continue;
        }
        in_a_row = 0;
        if (run.status != AMEDIA_OK || !handle(frameIn(*buffer, run.buffers++))) break;
    }
    run.failure = failureOf(run, seeking);
    return run;
}

std::string Session::failureOf(const Run& run, bool seeking) const {
    std::string text;
    if (mInput.error() != 0) {
        text = strerror(mInput.error());
    } else if (run.status == AMEDIA_ERROR_UNKNOWN) {
        text = "gave up after " + std::to_string(kMaxRefusalsInARow) +
               " refused reads in a row: the stream's frames do not fit the buffer";
    } else if (run.status != AMEDIA_OK && (seeking || run.status != AMEDIA_ERROR_END_OF_STREAM)) {
        text = (seeking ? "seek failed: " : "read failed: ") + statusText(run.status);
    }
    if (run.refused == 0) return text;
    return text + (text.empty() ? "" : "; ") + std::to_string(run.refused) +
           " reads refused as too large";
}

/** Throws the reason, or the failed open or read that lies behind it. */
void Session::refuse(const std::string& reason) const {
    throw FileError(mInput.error() != 0 ? strerror(mInput.error()) : reason);
}

}  // namespace kelflac
