// Format keys of libextmediaformatdef, which NdkMediaFormat.h doesn't have. Callers rely only on
// the strings being different.
#pragma once

namespace android {
#pragma GCC visibility push(default)

extern const char* AMEDIAFORMAT_KEY_WRITER;               ///< string
extern const char* AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES;  ///< string: "key=code:" for each text
extern const char* AMEDIAFORMAT_KEY_MIN_BLOCK_SIZE;       ///< int32, samples
extern const char* AMEDIAFORMAT_KEY_MAX_BLOCK_SIZE;       ///< int32, samples
extern const char* AMEDIAFORMAT_KEY_MIN_FRAME_SIZE;       ///< int32, bytes
extern const char* AMEDIAFORMAT_KEY_MAX_FRAME_SIZE;       ///< int32, bytes

#pragma GCC visibility pop
}  // namespace android
