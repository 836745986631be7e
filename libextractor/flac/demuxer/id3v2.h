// The ID3v2 tag header: "ID3", version, flags, and a size in four groups of 7 bits that counts
// neither the header nor a footer.
#pragma once

#include <cstdint>

constexpr int ID3V2_HEADER_BYTES = 10;
constexpr int ID3V2_SIZE_OFFSET = 6;

/** The bytes of a tag and its header, by the big-endian word at ID3V2_SIZE_OFFSET. The top bit of
    each of its bytes is dropped. Below 2^28 + 10. */
constexpr int id3v2_tag_bytes(uint32_t groups) {
    const uint32_t size = (groups >> 24 & 0x7F) << 21 | (groups >> 16 & 0x7F) << 14 |
                          (groups >> 8 & 0x7F) << 7 | (groups & 0x7F);
    return static_cast<int>(size) + ID3V2_HEADER_BYTES;
}
