// The demuxer holder: one open demuxer, shared by the extractor and its tracks.
#pragma once

#include <utils/RefBase.h>

#include <cstdint>

#include "libextractor/flac/demuxer/kelflacfd.h"
#include "libextractor/mfal/kelcmn_mfal.h"

namespace android {

constexpr int64_t TICKS_PER_MICROSECOND = 10;  ///< The demuxer counts time in 100 ns.

/**
 * Carries an open demuxer until the last reference goes. Always held through sp<KelFLACFDSF>.
 *
 * The extractor fills it while opening; from then on only tracks touch `ctx`, each under a lock of
 * its own: two tracks of one extractor are not to be used at the same time.
 * The data source named in the parameter block is neither owned nor touched.
 */
class KelFLACFDSF : public RefBase {
  public:
    KELFLACFD_CTX* ctx = nullptr;  ///< Owned; null until the open succeeded.
    KELFLACFD_INFO info = {};      ///< Copy of the stream information; `tag` points into `ctx`.
    int64_t in_duration = 0;       ///< Duration in 100 ns given to the open; 0 = from the stream.
    _KELCMN_MFAL mfal = {};        ///< Owns its `open_param`, a KELCMN_MFAL_PARAM.

  protected:
    ~KelFLACFDSF() override;
};

}  // namespace android
