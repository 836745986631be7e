// The extractor of one byte source.
#pragma once

#include <media/MediaExtractorPluginHelper.h>
#include <media/NdkMediaFormat.h>
#include <utils/RefBase.h>

#include "libextractor/flac/kelflac_fdsf.h"

namespace android {

/**
 * Gives one track, its format and the file's metadata. The first query that needs the demuxer opens
 * it. When the open fails, the next such query tries again.
 *
 * Never call it from two threads at the same time. Pointers must not be null.
 */
class KelFLACExtractor : public MediaExtractorPluginHelper {
  public:
    /** Takes ownership of the source's helper and of two empty formats. Reads nothing. */
    KelFLACExtractor(DataSourceHelper* source, AMediaFormat* fileMeta, AMediaFormat* trackFormat);

    /** Frees the helper and the formats. After that, tracks may only be stopped and freed. */
    ~KelFLACExtractor() override;

    KelFLACExtractor(const KelFLACExtractor&) = delete;
    KelFLACExtractor& operator=(const KelFLACExtractor&) = delete;

    /** 1, or 0 when the stream can't be opened. */
    size_t countTracks() override;

    /** A new track, owned by the caller. Null for an index other than 0, for a stream that can't
        be opened, and when there is no memory. Never call getTrack while a track reads. */
    MediaTrackHelper* getTrack(size_t index) override;

    /** Copies the track's format into `meta`. Returns the copy's status, or AMEDIA_ERROR_UNKNOWN
        for an index other than 0 or a stream that can't be opened. */
    media_status_t getTrackMetaData(AMediaFormat* meta, size_t index, uint32_t flags) override;

    /** Copies the MIME type, the tags and the art into `meta`. Returns AMEDIA_ERROR_UNKNOWN when
        the stream can't be opened, else AMEDIA_OK, even when the copy fails. */
    media_status_t getMetaData(AMediaFormat* meta) override;

    /** MediaExtractorPluginHelper flags: seeking and pausing for an open, seekable stream, else
        only pausing. Opens nothing. */
    uint32_t flags() const override;

    const char* name() override { return "KelFLACExtractor"; }

  private:
    bool ensureInitialised();
    int init_kelflacff();
    bool openDemuxer();
    void publishCodecSpecificData();
    void publishTrackFormat();

    DataSourceHelper* mDataSource;
    sp<KelFLACFDSF> mFDSF;  // null unless the stream is open or being opened
    bool mInitDone = false;
    AMediaFormat* mTrackFormat;
    AMediaFormat* mFileMeta;
};

}  // namespace android
