// Finds the sync code of a frame header in the reader's bytes.
#pragma once

#include <algorithm>
#include <cstddef>

#include "libextractor/flac/demuxer/kelflacf_fal.h"
#include "libextractor/flac/demuxer/kelflacfd_sync_block.h"

/** The last offset of a sync code before `limit`, or -1. Offset 0 is the first run's first byte.
    `limit` is at most the count of all bytes minus 1. */
int find_last_sync_code(const KELFLACF_FAL_RUNS& runs, int limit);

/** The same as find_sync_code, but without its first look at the near positions. */
int find_far_sync_code(const KELFLACF_FAL_RUNS& runs, int from, int limit);

// The searches as templates over the type of block. Tests compare the types.
namespace sync_search {

/** Positions that are tested one by one before blocks are used. Where codes are dense, the next one
    is near, and this is faster. */
constexpr int NEAR_POSITIONS = 8;

/** How many positions are tested with one branch. */
template <typename BLOCK>
constexpr ptrdiff_t ROUND_BYTES = ptrdiff_t{4} * BLOCK::POSITIONS;

/** The hits of one block or of several, joined. */
template <typename BLOCK, ptrdiff_t BYTES>
typename BLOCK::HITS joined_hits(const uint8_t* bytes) {
    if constexpr (BYTES == BLOCK::POSITIONS) {
        return BLOCK::hits(bytes);
    } else {
        return BLOCK::either(joined_hits<BLOCK, BYTES / 2>(bytes),
                             joined_hits<BLOCK, BYTES / 2>(bytes + BYTES / 2));
    }
}

template <typename BLOCK, ptrdiff_t BYTES>
uint64_t joined_mask(const uint8_t* bytes) {
    return BLOCK::mask(joined_hits<BLOCK, BYTES>(bytes));
}

template <typename BLOCK>
ptrdiff_t first_position(uint64_t mask) {
    return __builtin_ctzll(mask) / BLOCK::BITS;
}

template <typename BLOCK>
ptrdiff_t last_position(uint64_t mask) {
    return (63 - __builtin_clzll(mask)) / BLOCK::BITS;
}

/** The first of `count` positions that has a code, or `count`. Reads `count` + 1 bytes. */
template <typename BLOCK>
ptrdiff_t find_in_row(const uint8_t* row, ptrdiff_t count) {
    constexpr ptrdiff_t STEP = BLOCK::POSITIONS;
    constexpr ptrdiff_t ROUND = ROUND_BYTES<BLOCK>;
    if (count < STEP) {
        ptrdiff_t i = 0;
        while (i < count && !is_sync_code(row[i], row[i + 1])) ++i;
        return i;
    }
    const uint8_t* at = row;
    const uint8_t* const end = row + count;
    while (end - at >= ROUND && joined_mask<BLOCK, ROUND>(at) == 0) at += ROUND;
    for (; end - at > STEP; at += STEP) {
        const uint64_t mask = joined_mask<BLOCK, STEP>(at);
        if (mask != 0) return at - row + first_position<BLOCK>(mask);
    }
    // The last block may overlap the one before, in which there was no code.
    const uint64_t mask = joined_mask<BLOCK, STEP>(end - STEP);
    return mask != 0 ? count - STEP + first_position<BLOCK>(mask) : count;
}

/** The last of `count` positions that has a code, or -1. */
template <typename BLOCK>
ptrdiff_t find_last_in_row(const uint8_t* row, ptrdiff_t count) {
    constexpr ptrdiff_t STEP = BLOCK::POSITIONS;
    constexpr ptrdiff_t ROUND = ROUND_BYTES<BLOCK>;
    if (count < STEP) {
        ptrdiff_t i = count - 1;
        while (i >= 0 && !is_sync_code(row[i], row[i + 1])) --i;
        return i;
    }
    const uint8_t* end = row + count;
    while (end - row >= ROUND && joined_mask<BLOCK, ROUND>(end - ROUND) == 0) end -= ROUND;
    for (; end - row > STEP; end -= STEP) {
        const uint64_t mask = joined_mask<BLOCK, STEP>(end - STEP);
        if (mask != 0) return end - row - STEP + last_position<BLOCK>(mask);
    }
    const uint64_t mask = joined_mask<BLOCK, STEP>(row);
    return mask != 0 ? last_position<BLOCK>(mask) : -1;
}

/** Whether the first run's last byte and the second run's first byte make a code. */
inline bool is_code_across(const KELFLACF_FAL_RUNS& runs) {
    return is_sync_code(runs.first.bytes[runs.first.count - 1], runs.second.bytes[0]);
}

template <typename BLOCK>
int find_far(const KELFLACF_FAL_RUNS& runs, int from, int limit) {
    const int across = runs.first.count - 1;
    if (from < across) {
        const int end = std::min(across, limit);
        const ptrdiff_t found = find_in_row<BLOCK>(runs.first.bytes + from, end - from);
        if (found < end - from) return from + static_cast<int>(found);
    }
    if (from <= across && across < limit && is_code_across(runs)) return across;
    const int start = std::max(from - runs.first.count, 0);
    const int end = limit - runs.first.count;
    if (start >= end) return limit;
    const ptrdiff_t found = find_in_row<BLOCK>(runs.second.bytes + start, end - start);
    return runs.first.count + start + static_cast<int>(found);
}

template <typename BLOCK>
int find_last(const KELFLACF_FAL_RUNS& runs, int limit) {
    const int across = runs.first.count - 1;
    if (limit > across) {
        const ptrdiff_t found =
            find_last_in_row<BLOCK>(runs.second.bytes, limit - runs.first.count);
        if (found >= 0) return runs.first.count + static_cast<int>(found);
        if (is_code_across(runs)) return across;
    }
    return static_cast<int>(find_last_in_row<BLOCK>(runs.first.bytes, std::min(across, limit)));
}

}  // namespace sync_search

/** The first offset of a sync code at or after `from` and before `limit`; `limit` when there is
    none. Offsets and `limit` are as in find_last_sync_code; `from` is at most `limit`. Where codes
    are dense it is called often, and some compilers don't inline it without always_inline. */
[[gnu::always_inline]] inline int find_sync_code(const KELFLACF_FAL_RUNS& runs, int from,
                                                 int limit) {
    const bool in_first = from < runs.first.count;
    const KELFLACF_FAL_RUN& run = in_first ? runs.first : runs.second;
    const int offset = in_first ? from : from - runs.first.count;
    constexpr int NEAR = sync_search::NEAR_POSITIONS;
    if (run.count - offset > NEAR && limit - from >= NEAR) {
        const uint8_t* const row = run.bytes + offset;
        for (int i = 0; i < NEAR; ++i)
            if (is_sync_code(row[i], row[i + 1])) return from + i;
    }
    return find_far_sync_code(runs, from, limit);
}
