// The ID3v2 tag header: "ID3", version, flags and size. The size has four groups of 7 bits. It
// doesn't count the header or a footer.
#pragma once

#include <cstdint>

constexpr int ID3V2_HEADER_BYTES = 10;
constexpr int ID3V2_SIZE_OFFSET = 6;

/** The length of a tag with its header and without a footer, in bytes, below 2^28 + 10. `groups` is
    the big-endian word at ID3V2_SIZE_OFFSET; the top bit of each byte is ignored. */
constexpr int id3v2_tag_bytes(uint32_t groups) {
    const uint32_t size = (groups >> 24 & 0x7F) << 21 | (groups >> 16 & 0x7F) << 14 |
                          (groups >> 8 & 0x7F) << 7 | (groups & 0x7F);
    return static_cast<int>(size) + ID3V2_HEADER_BYTES;
}
