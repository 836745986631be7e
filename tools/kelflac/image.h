// Image files, as far as their first bytes tell.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kelflac {

struct Image {
    std::string type;  ///< "PNG", "JPEG", "GIF", "WebP", else "unknown".
    // In pixels; 0 = not told. Those of a WebP are not looked for.
    uint32_t width;
    uint32_t height;
};

/** Describes an image file by its content, whatever was claimed for it. */
Image describeImage(std::string_view image);

}  // namespace kelflac
