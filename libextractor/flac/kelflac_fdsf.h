// The demuxer holder: one open demuxer, shared by the extractor and its tracks.
#pragma once

#include <utils/RefBase.h>

#include <cstdint>

#include "libextractor/flac/demuxer/kelflacfd.h"
#include "libextractor/mfal/kelcmn_mfal.h"

namespace android {

constexpr int64_t TICKS_PER_MICROSECOND = 10;  ///< The demuxer counts time in 100 ns.

/**
 * Keeps a demuxer open until the last reference is gone. Always used through sp<KelFLACFDSF>.
 *
 * The extractor fills it while opening. After that only tracks use `ctx`. Each track has its own
 * lock, so never use two tracks of one extractor at the same time. A new track writes `info`, so
 * never make one while another track reads.
 *
 * The data source in the parameter block is not owned.
 */
class KelFLACFDSF : public RefBase {
  public:
    KELFLACFD_CTX* ctx = nullptr;  ///< Owned; null unless the open succeeded.
    KELFLACFD_INFO info = {};      ///< Copy of the stream information; `tag` points into `ctx`.
    int64_t in_duration = 0;       ///< Duration to use, in 100 ns; 0: the stream's own.
    _KELCMN_MFAL mfal = {};        ///< Its `open_param`, a KELCMN_MFAL_PARAM, is owned here.

  protected:
    ~KelFLACFDSF() override;
};

}  // namespace android
