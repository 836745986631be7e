#include "media/ExtMediaFormatDef.h"

namespace android {

const char* AMEDIAFORMAT_KEY_WRITER = "writer";
const char* AMEDIAFORMAT_KEY_CHAR_ENCODING_TYPES = "char-encoding-types";
const char* AMEDIAFORMAT_KEY_MIN_BLOCK_SIZE = "min-block-size";
const char* AMEDIAFORMAT_KEY_MAX_BLOCK_SIZE = "max-block-size";
const char* AMEDIAFORMAT_KEY_MIN_FRAME_SIZE = "min-frame-size";
const char* AMEDIAFORMAT_KEY_MAX_FRAME_SIZE = "max-frame-size";

}  // namespace android
