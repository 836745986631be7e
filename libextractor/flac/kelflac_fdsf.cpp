#include "libextractor/flac/kelflac_fdsf.h"

#include "libextractor/mfal/kelcmn_mfal_android_q.h"

namespace android {

KelFLACFDSF::~KelFLACFDSF() {
    // The demuxer is deleted first: the parameter block must outlive it.
    if (ctx != nullptr) kelflacfd_delete(ctx);
    ctx = nullptr;
    delete mfal.open_param;
    mfal = {};
}

}  // namespace android
