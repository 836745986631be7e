// The front end's log: one tag, information level.
//
// The texts of the lines are fixed, because tools match them. Some name functions that don't exist
// here: readMetaData() stands for any query that opens the stream, init_kelflacfd() for
// init_kelflacff(), kelflacfds_seek() and KelFLACExtractor::kelflacfd_get_fmt() for the
// demuxer's calls.
#pragma once

#include <android/log.h>

namespace android {

/** The tag of every line of the front end. */
constexpr const char* KELFLAC_LOG_TAG = "KelFLACExtractorSO";

/** Logs one line at information level. */
inline void logInfo(const char* text) {
    __android_log_print(ANDROID_LOG_INFO, KELFLAC_LOG_TAG, "%s", text);
}

}  // namespace android
