// The extractor: what the framework gets for one byte source.
#pragma once

#include <media/MediaExtractorPluginHelper.h>
#include <media/NdkMediaFormat.h>
#include <utils/RefBase.h>

#include "libextractor/flac/kelflac_fdsf.h"

namespace android {

/**
 * Opens the demuxer on the first query that needs it and answers from then on: one track, its
 * format, the file's metadata. A failed open is tried again by the next query.
 *
 * Not to be called from two threads at a time.
 */
class KelFLACExtractor : public MediaExtractorPluginHelper {
  public:
    /** Takes the source and two empty formats, none null, and owns all three. Reads nothing. */
    KelFLACExtractor(DataSourceHelper* source, AMediaFormat* fileMeta, AMediaFormat* trackFormat);

    /** The data source and the format go with the extractor: a track still alive may only be
       stopped and freed. */
    ~KelFLACExtractor() override;

    KelFLACExtractor(const KelFLACExtractor&) = delete;
    KelFLACExtractor& operator=(const KelFLACExtractor&) = delete;

    /** 1, or 0 when the stream can't be opened. */
    size_t countTracks() override;

    /** A new track, owned by the caller; null for an index other than 0, a stream that can't be
        opened or no memory. */
    MediaTrackHelper* getTrack(size_t index) override;

    /** Copies the track's format into `meta`. Returns the copy's status; AMEDIA_ERROR_UNKNOWN for
       an index other than 0 or a stream that can't be opened. */
    media_status_t getTrackMetaData(AMediaFormat* meta, size_t index, uint32_t flags) override;

    /** Copies the file's tags and art into `meta`. AMEDIA_OK whatever the copy gave;
        AMEDIA_ERROR_UNKNOWN when the stream can't be opened. */
    media_status_t getMetaData(AMediaFormat* meta) override;

    /** MediaExtractorPluginHelper flags: all of seeking and pausing for a seekable stream, else
        pausing alone. Opens nothing. */
    uint32_t flags() const override;

    const char* name() override { return "KelFLACExtractor"; }

  private:
    bool ensureInitialised();
    int init_kelflacff();
    bool openDemuxer();
    void publishCodecSpecificData();
    void publishTrackFormat();

    DataSourceHelper* mDataSource;
    sp<KelFLACFDSF> mFDSF;  // null until the stream is open
    bool mInitDone = false;
    AMediaFormat* mTrackFormat;
    AMediaFormat* mFileMeta;
};

}  // namespace android
