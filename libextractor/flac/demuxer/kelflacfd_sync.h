// Where among the reader's bytes the sync code of a frame header stands.
#pragma once

#include <algorithm>
#include <cstddef>

#include "libextractor/flac/demuxer/kelflacf_fal.h"
#include "libextractor/flac/demuxer/kelflacfd_sync_block.h"

/** The highest offset below `limit` at which a sync code stands, or -1. Offsets count from the
    first run's first byte, and `limit` is at most the count of all bytes less 1. */
int find_last_sync_code(const KELFLACF_FAL_RUNS& runs, int limit);

/** find_sync_code for any distance. */
int find_far_sync_code(const KELFLACF_FAL_RUNS& runs, int from, int limit);

// The searches with any type of block, for those above and for tests that compare the types.
namespace sync_search {

/** Positions that are looked at one by one, in the caller's own loop. Where codes are dense the
   next is near, and its distance is foreseen sooner than a mask tells it. */
constexpr int NEAR_POSITIONS = 8;

/** Bytes that are looked at with one branch where no code stands. */
template <typename BLOCK>
constexpr ptrdiff_t ROUND_BYTES = ptrdiff_t{4} * BLOCK::POSITIONS;

/** The hits of a block, or those of several, joined. */
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

/** The first of `count` positions in a row at which a code stands, or `count`. One byte more than
    `count` is looked at. */
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
    // What the last block has in common with those before it holds no code.
    const uint64_t mask = joined_mask<BLOCK, STEP>(end - STEP);
    return mask != 0 ? count - STEP + first_position<BLOCK>(mask) : count;
}

/** The last of `count` positions in a row, or -1. */
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

/** Whether the last byte of the first run and the first of the second make a code. */
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

/** The lowest offset from `from` up to but not with `limit` at which a sync code stands, or
    `limit`. Offsets and `limit` as those of find_last_sync_code; `from` is at most `limit`. Dense
    codes call it for every eight bytes, and not all compilers inline it of their own accord. */
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
