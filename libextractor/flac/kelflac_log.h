// The front end's log tag, and a function that logs a line at information level.
//
// The texts of the lines are fixed, because tools match them. Some of them name a function that
// doesn't exist. readMetaData() is any query that opens the stream. init_kelflacfd() is
// init_kelflacff(). kelflacfds_seek() is kelflacfd_seek(). KelFLACExtractor::kelflacfd_get_fmt() is
// the demuxer's kelflacfd_get_fmt().
#pragma once

#include <android/log.h>

namespace android {

/** The tag of every line, except the two that the demuxer logs. */
constexpr const char* KELFLAC_LOG_TAG = "KelFLACExtractorSO";

/** Logs one line at information level. */
inline void logInfo(const char* text) {
    __android_log_print(ANDROID_LOG_INFO, KELFLAC_LOG_TAG, "%s", text);
}

}  // namespace android
