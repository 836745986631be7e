#include "session.h"

#include "errors.h"
#include "text.h"

namespace kelflac {
namespace {

// Once the plug-in has stopped searching for frames, a stream whose largest frame exceeds the
// buffer is refused for ever, even at its end. A stream whose frames are numbered goes on again
// before it gets there.
constexpr uint64_t kMaxRefusalsInARow = 256;

// The plug-in searches for so many frames after an open or a seek, a frame numbered 0 not counted.
// Then it hands out pieces of a fixed size, all with the time 0.
constexpr uint64_t kSearchedReads = 244;

std::optional<int64_t> int64Of(AMediaFormat* format, const char* key) {
    int64_t value = 0;
    if (!AMediaFormat_getInt64(format, key, &value)) return std::nullopt;
    return value;
}

/** Looks into a buffer. A time that its meta data lacks is not known. */
Frame frameIn(const android::CMediaBuffer& buffer, uint64_t index, bool searched) {
    AMediaFormat* meta = buffer.meta_data(buffer.handle);
    int32_t sync = 0;
    AMediaFormat_getInt32(meta, AMEDIAFORMAT_KEY_IS_SYNC_FRAME, &sync);
    const auto* data = static_cast<const uint8_t*>(buffer.data(buffer.handle));
    const std::optional<int64_t> time_us = int64Of(meta, AMEDIAFORMAT_KEY_TIME_US);
    return {index,
            data + buffer.range_offset(buffer.handle),
            buffer.range_length(buffer.handle),
            time_us,
            int64Of(meta, AMEDIAFORMAT_KEY_DURATION),
            sync != 0,
            searched || time_us != 0};
}

std::optional<int64_t> endOf(const Frame& frame) {
    if (!frame.single || !frame.time_us) return std::nullopt;
    return *frame.time_us + frame.duration_us.value_or(0);
}

}  // namespace

int64_t Session::durationUs() const {
    return int64Of(mTrackFormat.get(), AMEDIAFORMAT_KEY_DURATION).value_or(0);
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

Run Session::read(std::optional<int64_t> seek_us, const FrameHandler& handle) {
    Run run;
    bool seeking = seek_us.has_value();
    for (uint64_t in_a_row = 0; in_a_row < kMaxRefusalsInARow; seeking = false) {
        const uint32_t options = seeking ? uint32_t{android::CMediaTrackReadOptions::SEEK} : 0;
        android::CMediaBuffer* acquired = nullptr;
        run.status = mTrack->read(mTrack->data, &acquired, options, seek_us.value_or(0));
        // The track waits for its one buffer: this one must be back before the next read.
        const Owned<android::CMediaBuffer> buffer(acquired);
        if (seeking) mReads = 0;
        if (run.status == AMEDIA_ERROR_UNKNOWN) {
            ++mReads;
            ++run.refused;
            ++in_a_row;
            run.end_us.reset();
            continue;
        }
        in_a_row = 0;
        if (run.status != AMEDIA_OK) break;
        const Frame frame = frameIn(*buffer, run.buffers++, mReads < kSearchedReads);
        ++mReads;
        if (!frame.single) ++run.pieces;
        run.end_us = endOf(frame);
        if (!handle(frame)) break;
    }
    if (run.status != AMEDIA_ERROR_END_OF_STREAM) run.end_us.reset();
    run.failure = failureOf(run, seeking);
    return run;
}

std::string Session::failureOf(const Run& run, bool seeking) const {
    std::string text;
    if (!mInput.failure().empty()) {
        text = mInput.failure();
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
    throw FileError(mInput.failure().empty() ? reason : mInput.failure());
}

}  // namespace kelflac
