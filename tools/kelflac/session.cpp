#include "session.h"

#include "errors.h"
#include "media/ExtMediaFormatDef.h"
#include "text.h"

namespace kelflac {
namespace {

// Where the stated largest frame exceeds the buffer, each piece is refused, even at the end. Frames
// found by search are refused at most 244 times in a row, if their numbers are above 0.
constexpr uint64_t kMaxRefusalsInARow = 256;

// After an open or a seek the plug-in searches for this many frames; one numbered 0 doesn't count.
// Then it hands out pieces of a fixed size, all with the time 0.
constexpr uint64_t kSearchedReads = 244;

/** Describes a buffer. A time that its meta data lacks stays empty. */
Frame frameIn(const kelflac_host::Read& read, uint64_t index, bool searched) {
    AMediaFormat* meta = read.buffer->meta_data(read.buffer->handle);
    int32_t sync = 0;
    AMediaFormat_getInt32(meta, AMEDIAFORMAT_KEY_IS_SYNC_FRAME, &sync);
    const std::optional<int64_t> time_us = read.Int64(AMEDIAFORMAT_KEY_TIME_US);
    return {index,     read.Bytes(),
            time_us,   read.Int64(AMEDIAFORMAT_KEY_DURATION),
            sync != 0, searched || time_us != 0};
}

}  // namespace

int64_t Session::durationUs() const {
    int64_t duration_us = 0;
    AMediaFormat_getInt64(mTrackFormat.get(), AMEDIAFORMAT_KEY_DURATION, &duration_us);
    return duration_us;
}

int32_t Session::maxFrameSize() const {
    int32_t size = 0;
    AMediaFormat_getInt32(trackFormat(), android::AMEDIAFORMAT_KEY_MAX_FRAME_SIZE, &size);
    return size;
}

std::string Session::bufferOf(AMediaFormat* format, const char* key) {
    void* data = nullptr;
    size_t size = 0;
    AMediaFormat_getBuffer(format, key, &data, &size);
    return {static_cast<char*>(data), size};
}

Session::~Session() {
    mRead.buffer.reset();
    if (mStarted) mPlayer->track->stop(mPlayer->track->data);
}

std::optional<float> Session::confidence() const {
    if (!mPlayer || !mPlayer->claimed) return std::nullopt;
    return mPlayer->confidence;
}

void Session::open() {
    mPlayer.emplace(mPlugin.definition(), mInput.slots());
    if (!mPlayer->claimed) refuse("not claimed by the plug-in");
    if (mPlayer->extractor == nullptr) refuse("no extractor created");
    if (mPlayer->CountTracks() == 0) {
        refuse("the stream can't be opened: perhaps it is damaged or not supported");
    }
    mTrackFormat.reset(AMediaFormat_new());
    mFileMeta.reset(AMediaFormat_new());
    if (mTrackFormat == nullptr || mFileMeta == nullptr) refuse("out of memory");
    media_status_t status = mPlayer->TrackFormat(mTrackFormat.get());
    if (status == AMEDIA_OK) status = mPlayer->FileMeta(mFileMeta.get());
    if (status != AMEDIA_OK) refuse("no format: " + statusText(status));
}

void Session::startTrack() {
    const media_status_t status = mPlayer->Start();
    if (status != AMEDIA_OK) refuse("the track does not start: " + statusText(status));
    mStarted = true;
}

/** Throws the reason, or the file's first failed read. */
void Session::refuse(const std::string& reason) const {
    throw FileError(mInput.failure().empty() ? reason : mInput.failure());
}

void Session::begin(std::optional<int64_t> seek_us) {
    mRun = {};
    mSeekUs = seek_us;
}

const Frame* Session::next() {
    if (mRun.status != AMEDIA_OK) return nullptr;  // Ended, or given up.
    for (uint64_t in_a_row = 0; in_a_row < kMaxRefusalsInARow; ++in_a_row) {
        mSought = mSeekUs.has_value();
        const uint32_t options = mSought ? uint32_t{android::CMediaTrackReadOptions::SEEK} : 0;
        mRead.buffer.reset();  // Else the read would wait for it.
        mRead = mPlayer->Next(options, mSeekUs.value_or(0));
        mSeekUs.reset();
        mRun.status = mRead.status;
        mReads = mSought ? 1 : mReads + 1;
        if (mRead.status == AMEDIA_OK) {
            mFrame = frameIn(mRead, mRun.buffers++, mReads <= kSearchedReads);
            if (!mFrame.single) ++mRun.pieces;
            return &mFrame;
        }
        if (mRead.status != AMEDIA_ERROR_UNKNOWN) return nullptr;
        ++mRun.refused;
    }
    return nullptr;
}

const Run& Session::run() {
    std::string& text = mRun.failure;
    text.clear();
    if (!mInput.failure().empty()) {
        text = mInput.failure();
    } else if (mRun.status == AMEDIA_ERROR_UNKNOWN) {
        text = "gave up after " + std::to_string(kMaxRefusalsInARow) +
               " refused reads in a row: the stream's frames are too large";
    } else if (mRun.status != AMEDIA_OK && (mSought || mRun.status != AMEDIA_ERROR_END_OF_STREAM)) {
        text = (mSought ? "seek failed: " : "read failed: ") + statusText(mRun.status);
    }
    if (mRun.refused > 0) {
        text += (text.empty() ? "" : "; ") + std::to_string(mRun.refused) +
                " reads refused as too large";
    }
    return mRun;
}

Run Session::read(std::optional<int64_t> seek_us, const FrameHandler& handle) {
    begin(seek_us);
    while (const Frame* frame = next()) {
        if (!handle(*frame)) break;
    }
    return run();
}

}  // namespace kelflac
