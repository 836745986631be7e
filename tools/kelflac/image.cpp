#include "image.h"

namespace kelflac {
namespace {

bool has(std::string_view image, std::string_view mark, size_t at = 0) {
    return image.size() >= at && image.substr(at, mark.size()) == mark;
}

/** A big-endian number; bytes beyond the image read as 0. */
uint32_t numberAt(std::string_view image, size_t at, size_t bytes) {
    uint32_t number = 0;
    for (size_t i = at; i < at + bytes; ++i)
        number = number << 8 | (i < image.size() ? static_cast<uint8_t>(image[i]) : 0U);
    return number;
}

uint32_t littleEndian16(std::string_view image, size_t at) {
    return numberAt(image, at, 1) | numberAt(image, at + 1, 1) << 8;
}

/** SOF0 to SOF15, without the three of that range that mean something else: DHT, JPG and DAC. */
bool isFrameMarker(uint32_t marker) {
    return (marker & 0xF0) == 0xC0 && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

/** Walks the segments to the frame header, which has the size. */
Image describeJpeg(std::string_view image) {
    size_t at = 2;  // behind SOI
    while (at < image.size() && numberAt(image, at, 1) == 0xFF) {
        const uint32_t marker = numberAt(image, at + 1, 1);
        if (isFrameMarker(marker)) {
            // Behind the marker: length, sample precision, lines, samples per line.
            return {"JPEG", numberAt(image, at + 7, 2), numberAt(image, at + 5, 2)};
        }
        // Any marker may follow fill bytes of 0xFF.
        at += marker == 0xFF ? 1 : 2 + numberAt(image, at + 2, 2);
    }
    return {"JPEG", 0, 0};
}

}  // namespace

Image describeImage(std::string_view image) {
    if (has(image, "\x89PNG\r\n\x1A\n")) {
        const bool told = has(image, "IHDR", 12);
        return {"PNG", told ? numberAt(image, 16, 4) : 0, told ? numberAt(image, 20, 4) : 0};
    }
    if (has(image, "\xFF\xD8\xFF")) return describeJpeg(image);
    if (has(image, "GIF87a") || has(image, "GIF89a")) {
        return {"GIF", littleEndian16(image, 6), littleEndian16(image, 8)};
    }
    return {has(image, "RIFF") && has(image, "WEBP", 8) ? "WebP" : "unknown", 0, 0};
}

}  // namespace kelflac
