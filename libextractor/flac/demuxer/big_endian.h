// Reads big-endian numbers from memory.
#pragma once

#include <cstdint>
#include <cstring>

constexpr int32_t be16(const uint8_t* b) {
    return b[0] << 8 | b[1];
}
constexpr int32_t be24(const uint8_t* b) {
    return b[0] << 16 | b[1] << 8 | b[2];
}
constexpr uint32_t be32(const uint8_t* b) {
    return uint32_t{b[0]} << 24 | uint32_t{b[1]} << 16 | uint32_t{b[2]} << 8 | b[3];
}
inline uint64_t be64(const uint8_t* b) {
    uint64_t word = 0;
    memcpy(&word, b, sizeof(word));
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    word = __builtin_bswap64(word);
#endif
    return word;
}
