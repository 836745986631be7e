// Values as text for people.
#pragma once

#include <cstdint>
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

/** The kind of an image file by its first bytes: "PNG", "JPEG", "GIF", "WebP", else "unknown". */
std::string imageType(std::string_view image);

/** A status's platform name and number. */
std::string statusText(media_status_t status);

/** Writes one line to standard error: the program, the file and the reason. */
void reportError(const std::string& file, const std::string& reason);

}  // namespace kelflac
