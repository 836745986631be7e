// Writes the demuxer's debug lines to the platform's log, without a tag.
#include <android/log.h>

#include "libextractor/flac/demuxer/kelflacfd_log.h"

void kelflacfd_log(const char* line) {
    __android_log_print(ANDROID_LOG_DEBUG, nullptr, "%s", line);
}
