// The track, which gives one compressed frame, or a piece, per read.
#pragma once

#include <media/MediaExtractorPluginHelper.h>
#include <media/NdkMediaFormat.h>
#include <pthread.h>
#include <utils/RefBase.h>

#include "libextractor/flac/kelflac_fdsf.h"

namespace android {

/**
 * The track of a stream. Shares the open demuxer with the extractor.
 *
 * Threads may call start, stop, getFormat and read at the same time: a lock makes them wait for
 * each other. A read keeps the lock while it waits for a buffer. But the track's table changes the
 * buffer group before it calls start(): so never start a track during a read. Never use two tracks
 * of one extractor at the same time. Pointers must not be null, unless their description allows it.
 */
class KelFLACSource : public MediaTrackHelper {
  public:
    /** Borrows the source and the track's format from the extractor. No other track of the
        extractor may be reading. */
    KelFLACSource(DataSourceHelper* source, AMediaFormat* format, const sp<KelFLACFDSF>& fdsf);

    /** Stops the track if it is started. */
    ~KelFLACSource() override;

    KelFLACSource(const KelFLACSource&) = delete;
    KelFLACSource& operator=(const KelFLACSource&) = delete;

    /** Adds a buffer of the format's maximum input size to the group, each time. Returns AMEDIA_OK,
        or AMEDIA_ERROR_UNSUPPORTED when the open stream's codec is not FLAC. Ends the process when
        the track is already started, or when the format has no maximum input size. */
    media_status_t start() override;

    /** Keeps the buffers and the position. Always AMEDIA_OK. Ends the process when not started. */
    media_status_t stop() override;

    /** Copies the track's format. Always AMEDIA_OK. */
    media_status_t getFormat(AMediaFormat* meta) override;

    /**
     * Hands out the next frame or piece with its time. A seek request first moves to the frame at
     * its time or near it. Waits until a buffer is free. The track must be started.
     *
     * @param buffer receives the buffer, which the caller releases; null on failure.
     * @param options may be null: no seek.
     * @return AMEDIA_OK; AMEDIA_ERROR_END_OF_STREAM after the last frame, for a seek past the
     *     duration and for one that fails; AMEDIA_ERROR_UNSUPPORTED for a seek in a stream that
     *     is not seekable; AMEDIA_ERROR_UNKNOWN when no buffer can be had, and for a frame or piece
     *     that is too large (it is skipped); AMEDIA_ERROR_IO without an open stream.
     */
    media_status_t read(MediaBufferHelper** buffer, const ReadOptions* options) override;

  private:
    media_status_t stopLocking();
    media_status_t seekIfAsked(const ReadOptions* options);
    media_status_t fillBuffer();
    media_status_t refuse(const char* line, media_status_t status);

    [[maybe_unused]] DataSourceHelper* mDataSource;  // not used by the track
    AMediaFormat* mFormat;
    pthread_mutex_t mLock;
    bool mStarted = false;
    MediaBufferHelper* mBuffer = nullptr;  // being filled; null between reads
    sp<KelFLACFDSF> mFDSF;                 // null when the codec is not FLAC
};

}  // namespace android
