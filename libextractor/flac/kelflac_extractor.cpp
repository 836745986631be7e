#include "libextractor/flac/kelflac_extractor.h"

#include <android/binder_ibinder.h>
#include <media/ExtMediaFormatDef.h>

#include <cstdlib>
#include <new>

#include "libextractor/flac/kelflac_file_meta.h"
#include "libextractor/flac/kelflac_log.h"
#include "libextractor/flac/kelflac_source.h"
#include "libextractor/mfal/kelcmn_mfal_android_q.h"

namespace android {
namespace {

constexpr const char* MIME_FLAC = "audio/flac";
constexpr int32_t MAX_INPUT_SIZE = 102400;  // bytes of one buffer

constexpr uid_t MEDIA_SERVER_UID = 1013;
constexpr int32_t PCM_ENCODING_16BIT = 2;
constexpr int32_t PCM_ENCODING_FLOAT = 4;
constexpr int32_t MIN_FLOAT_BITS = 17;  // one bit more than 16-bit samples have

/** The media server plays samples of more than 16 bits as float. In all other cases the format says
    16 bits. */
int32_t pcmEncoding(int32_t bits) {
    if (bits < MIN_FLOAT_BITS) return PCM_ENCODING_16BIT;
    return AIBinder_getCallingUid() == MEDIA_SERVER_UID ? PCM_ENCODING_FLOAT : PCM_ENCODING_16BIT;
}

}  // namespace

KelFLACExtractor::KelFLACExtractor(DataSourceHelper* source, AMediaFormat* fileMeta,
                                   AMediaFormat* trackFormat)
    : mDataSource(source), mTrackFormat(trackFormat), mFileMeta(fileMeta) {}

KelFLACExtractor::~KelFLACExtractor() {
    mFDSF.clear();
    AMediaFormat_delete(mTrackFormat);
    AMediaFormat_delete(mFileMeta);
    delete mDataSource;
}

size_t KelFLACExtractor::countTracks() {
    return ensureInitialised() ? 1 : 0;
}

MediaTrackHelper* KelFLACExtractor::getTrack(size_t index) {
    if (index != 0 || !ensureInitialised()) return nullptr;
    return new (std::nothrow) KelFLACSource(mDataSource, mTrackFormat, mFDSF);
}

media_status_t KelFLACExtractor::getTrackMetaData(AMediaFormat* meta, size_t index,
                                                  uint32_t /*flags*/) {
    if (index != 0 || !ensureInitialised()) return AMEDIA_ERROR_UNKNOWN;
    return AMediaFormat_copy(meta, mTrackFormat);
}

media_status_t KelFLACExtractor::getMetaData(AMediaFormat* meta) {
    if (!ensureInitialised()) return AMEDIA_ERROR_UNKNOWN;
    AMediaFormat_copy(meta, mFileMeta);
    return AMEDIA_OK;
}

uint32_t KelFLACExtractor::flags() const {
    const bool seekable = mFDSF != nullptr && mFDSF->info.seekable != 0;
    return seekable ? CAN_SEEK_BACKWARD | CAN_SEEK_FORWARD | CAN_PAUSE | CAN_SEEK : CAN_PAUSE;
}

bool KelFLACExtractor::ensureInitialised() {
    if (mInitDone) return true;
    if (init_kelflacff() == -1) {
        logInfo("KelFLACExtractor::readMetaData() init_kelflacff error");
        return false;
    }
    if (mInitDone) AMediaFormat_setString(mFileMeta, AMEDIAFORMAT_KEY_MIME, MIME_FLAC);
    return true;
}

/** Opens the demuxer. Returns 1 on success, -1 on failure, and 0 for a query that comes while an
    open runs. */
int KelFLACExtractor::init_kelflacff() {
    if (mFDSF != nullptr) return 0;
    if (!openDemuxer()) {
        logInfo("KelFLACExtractor::init_kelflacfd() kelflacfd_create() failed!");
        mFDSF.clear();
        return -1;
    }
    if (mFDSF->info.tag != nullptr) publishFileMeta(*mFDSF->info.tag, mFileMeta);
    mInitDone = true;
    publishCodecSpecificData();
    publishTrackFormat();
    return 1;
}

bool KelFLACExtractor::openDemuxer() {
    mFDSF = new (std::nothrow) KelFLACFDSF;
    if (mFDSF == nullptr) return false;
    mFDSF->in_duration = 0;
    if (!kelcmn_mfal_fill(&mFDSF->mfal, mDataSource)) return false;
    int err = 0;
    mFDSF->ctx = kelflacfd_create(&mFDSF->mfal, &mFDSF->in_duration, &mFDSF->info, &err);
    return mFDSF->ctx != nullptr;
}

void KelFLACExtractor::publishCodecSpecificData() {
    int size = 0;
    int result = kelflacfd_get_fmt(mFDSF->ctx, nullptr, &size);
    if (result != 0 || size == 0) {
        __android_log_print(ANDROID_LOG_INFO, KELFLAC_LOG_TAG,
                            "KelFLACExtractor::kelflacfd_get_fmt() getsize failed %d", result);
        return;
    }
    auto* data = static_cast<uint8_t*>(malloc(static_cast<size_t>(size)));
    if (data == nullptr) return;
    result = kelflacfd_get_fmt(mFDSF->ctx, data, &size);
    if (result != 0) {
        __android_log_print(ANDROID_LOG_INFO, KELFLAC_LOG_TAG,
                            "KelFLACExtractor::kelflacfd_get_fmt() getdata failed %d", result);
    } else {
        AMediaFormat_setBuffer(mTrackFormat, AMEDIAFORMAT_KEY_CSD_0, data,
                               static_cast<size_t>(size));
    }
    free(data);
}

void KelFLACExtractor::publishTrackFormat() {
    const KELFLACFD_INFO& info = mFDSF->info;
    AMediaFormat* format = mTrackFormat;
    AMediaFormat_setString(format, AMEDIAFORMAT_KEY_MIME, MIME_FLAC);
    AMediaFormat_setInt64(format, AMEDIAFORMAT_KEY_DURATION, info.duration / TICKS_PER_MICROSECOND);
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_CHANNEL_COUNT, info.ch);
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_SAMPLE_RATE, info.hz);
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_BITS_PER_SAMPLE, info.bits);
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_MAX_INPUT_SIZE, MAX_INPUT_SIZE);
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_MIN_BLOCK_SIZE, info.min_block);
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_MAX_BLOCK_SIZE, info.max_block);
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_MIN_FRAME_SIZE, info.min_frm);
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_MAX_FRAME_SIZE, info.max_frm_size);
    AMediaFormat_setInt32(format, AMEDIAFORMAT_KEY_PCM_ENCODING, pcmEncoding(info.bits));
}

}  // namespace android
