// The track: one compressed frame per read, with its time.
#pragma once

#include <media/MediaExtractorPluginHelper.h>
#include <media/NdkMediaFormat.h>
#include <pthread.h>
#include <utils/RefBase.h>

#include "libextractor/flac/kelflac_fdsf.h"

namespace android {

/**
 * The single track of a stream. Shares the open demuxer with the extractor.
 *
 * One lock serialises start, stop, getFormat and read, and is held while read waits for a buffer.
 */
class KelFLACSource : public MediaTrackHelper {
  public:
    /** Borrows the source and the track's format from the extractor. */
    KelFLACSource(DataSourceHelper* source, AMediaFormat* format, const sp<KelFLACFDSF>& fdsf);

    /** Stops the track if it is started. */
    ~KelFLACSource() override;

    KelFLACSource(const KelFLACSource&) = delete;
    KelFLACSource& operator=(const KelFLACSource&) = delete;

    /** Adds a buffer of the format's largest input size to the group, each time.
        AMEDIA_ERROR_UNSUPPORTED for a refused stream. Ends the process when the track is started
        already. */
    media_status_t start() override;

    /** Leaves the buffers and the position as they are. Ends the process when not started. */
    media_status_t stop() override;

    /** Copies the track's format. Always AMEDIA_OK. */
    media_status_t getFormat(AMediaFormat* meta) override;

    /**
     * Hands out the next frame, or with a seek request the frame at the time asked for or one next
     * to it, stamped with its own time. Waits until a buffer is free. The track must be started.
     *
     * @param buffer receives the buffer, to be released by the caller; null on failure.
     * @return AMEDIA_ERROR_END_OF_STREAM at the end and for a seek behind it;
     *     AMEDIA_ERROR_UNSUPPORTED for a seek in a stream that can't be sought;
     *     AMEDIA_ERROR_UNKNOWN without a buffer, and for a frame that is too large: it is left out,
     *     the next read goes on behind it; AMEDIA_ERROR_IO for other failures.
     */
    media_status_t read(MediaBufferHelper** buffer, const ReadOptions* options) override;

  private:
    media_status_t stopLocking();
    media_status_t seekIfAsked(const ReadOptions* options);
    media_status_t fillBuffer();
    media_status_t refuse(const char* line, media_status_t status);

    [[maybe_unused]] DataSourceHelper* mDataSource;  // all reading goes through the demuxer
    AMediaFormat* mFormat;
    pthread_mutex_t mLock;
    bool mStarted = false;
    MediaBufferHelper* mBuffer = nullptr;  // being filled; null between reads
    sp<KelFLACFDSF> mFDSF;                 // null when the stream was refused
};

}  // namespace android
