// File metadata from a tag record.
#pragma once

#include <media/NdkMediaFormat.h>

#include "libextractor/flac/demuxer/kelflacfd.h"

namespace android {

/** Sets the tag record's numbers, texts, text encodings and first picture on `meta`. What is absent
    or empty sets nothing. Every value but the picture is a string. */
void publishFileMeta(const KELFLACFD_TAG& tag, AMediaFormat* meta);

}  // namespace android
