// Finds the sync code of a frame header (RFC 9639, 9.1: 0xFF, then 0xF8 or 0xF9) at many
// positions at the same time.
//
// A block is a row of positions that are tested at the same time. There is one type of block for
// SSE2, one for NEON and one for any machine. All give the same answers. The type is chosen at
// compile time.
//
// Each type has:
// - POSITIONS: how many positions in a row a block tests. It reads one byte more.
// - hits(): where codes are, in a form that suits the instruction set.
// - either(): the hits of two blocks in one, so that both are tested with one branch.
// - mask(): the hits as a number, with BITS bits for each position, the first position lowest. A
//   position's bits are all 0 where there is no code.
#pragma once

#include <cstdint>

#include "libextractor/flac/demuxer/big_endian.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define KELFLACFD_HAS_NEON 1
#include <arm_neon.h>
#endif

constexpr uint8_t SYNC_BYTE_1 = 0xFF;
constexpr uint8_t SYNC_BYTE_2 = 0xF8;
constexpr uint8_t SYNC_BYTE_2_MASK = 0xFE;  // the lowest bit is the blocking strategy

constexpr bool is_sync_code(uint8_t byte_1, uint8_t byte_2) {
    return byte_1 == SYNC_BYTE_1 && (byte_2 & SYNC_BYTE_2_MASK) == SYNC_BYTE_2;
}

/** Eight bytes as a number, the first one lowest. */
inline uint64_t sync_word_at(const uint8_t* bytes) {
    return __builtin_bswap64(be64(bytes));
}

/** Eight positions in a word, for any machine. */
struct KELFLACFD_SYNC_BLOCK_WORD {
    using HITS = uint64_t;  // a code sets the top bit of its position's byte
    static constexpr int POSITIONS = 8;
    static constexpr int BITS = 8;

    static constexpr uint64_t EACH_BYTE = 0x0101010101010101;
    static constexpr uint64_t LOW_7_BITS = 0x7F * EACH_BYTE;

    static HITS hits(const uint8_t* bytes) {
        const uint64_t off_1 = sync_word_at(bytes) ^ SYNC_BYTE_1 * EACH_BYTE;
        const uint64_t off_2 = sync_word_at(bytes + 1) ^ SYNC_BYTE_2 * EACH_BYTE;
        const uint64_t off = off_1 | (off_2 & SYNC_BYTE_2_MASK * EACH_BYTE);
        // Sets the top bit of each byte that is not 0. The additions don't carry into the next
        // byte.
        const uint64_t misses = ((off & LOW_7_BITS) + LOW_7_BITS) | off;
        return ~(misses | LOW_7_BITS);
    }
    static HITS either(HITS a, HITS b) { return a | b; }
    static uint64_t mask(HITS hits) { return hits; }
};

#if defined(__SSE2__)

/** For x86 with SSE2, which every x86-64 has. */
struct KELFLACFD_SYNC_BLOCK_SSE2 {
    using HITS = __m128i;  // a code sets all bits of its position's byte
    static constexpr int POSITIONS = 16;
    static constexpr int BITS = 1;

    static __m128i load(const uint8_t* bytes) {
        return _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(bytes)));
    }
    static __m128i each(uint8_t byte) { return _mm_set1_epi8(static_cast<char>(byte)); }

    static HITS hits(const uint8_t* bytes) {
        const __m128i masked_2 = _mm_and_si128(load(bytes + 1), each(SYNC_BYTE_2_MASK));
        return _mm_and_si128(_mm_cmpeq_epi8(load(bytes), each(SYNC_BYTE_1)),
                             _mm_cmpeq_epi8(masked_2, each(SYNC_BYTE_2)));
    }
    static HITS either(HITS a, HITS b) { return _mm_or_si128(a, b); }
    static uint64_t mask(HITS hits) { return static_cast<uint32_t>(_mm_movemask_epi8(hits)); }
};

using KELFLACFD_SYNC_BLOCK = KELFLACFD_SYNC_BLOCK_SSE2;

#elif defined(KELFLACFD_HAS_NEON)

/** For little-endian Arm with NEON, which every 64-bit one has. */
struct KELFLACFD_SYNC_BLOCK_NEON {
    using HITS = uint8x16_t;  // a code sets all bits of its position's byte
    static constexpr int POSITIONS = 16;
    static constexpr int BITS = 4;

    static HITS hits(const uint8_t* bytes) {
        const uint8x16_t masked_2 = vandq_u8(vld1q_u8(bytes + 1), vdupq_n_u8(SYNC_BYTE_2_MASK));
        return vandq_u8(vceqq_u8(vld1q_u8(bytes), vdupq_n_u8(SYNC_BYTE_1)),
                        vceqq_u8(masked_2, vdupq_n_u8(SYNC_BYTE_2)));
    }
    static HITS either(HITS a, HITS b) { return vorrq_u8(a, b); }
    static uint64_t mask(HITS hits) {
        // Keeps the middle 8 bits of each pair of bytes, 4 of each byte.
        const uint8x8_t halves = vshrn_n_u16(vreinterpretq_u16_u8(hits), 4);
        return vget_lane_u64(vreinterpret_u64_u8(halves), 0);
    }
};

using KELFLACFD_SYNC_BLOCK = KELFLACFD_SYNC_BLOCK_NEON;

#else

using KELFLACFD_SYNC_BLOCK = KELFLACFD_SYNC_BLOCK_WORD;

#endif
