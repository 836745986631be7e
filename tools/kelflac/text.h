// Values as text for people.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "media/NdkMediaError.h"

namespace kelflac {

/** Text in the locale's encoding, safe on a terminal: control characters, characters that change
    the direction of writing, line separators and malformed bytes become escapes. */
std::string displayText(std::string_view text);

/** Two hexadecimal digits for each byte. */
std::string hexText(std::string_view bytes);

/** A time in microseconds as m:ss.mmm, from an hour on as h:mm:ss.mmm. Truncated. */
std::string durationText(int64_t us);

/** Microseconds from such a time, from m:ss or from seconds; nothing from other text. */
std::optional<int64_t> timeFromText(const std::string& text);

/** A status's platform name and number. */
std::string statusText(media_status_t status);

/** A picture's format by its first bytes: PNG, JPEG, GIF, WebP, AVIF or BMP, else "unknown". */
const char* pictureFormat(std::string_view picture);

/** Writes one line to standard error: the program, the file and the reason. */
void reportError(const std::string& file, const std::string& reason);

}  // namespace kelflac
