// Streams of high cost: bytes that keep a search for headers busy, and parts of a file that are
// repeated, huge or cut.
#pragma once

#include "tools/streams/hostile_streams.h"

namespace kelflac_streams {

/** Bytes that keep a search for headers busy. docs/performance.md explains them. */
enum CostlyKind {
    kOnes,
    kCodes,
    kNumbers,
    kCodesAndNumbers,
    kBrokenCrc,
    kRandom,
    kPairs,
    kCostlyKindCount
};
constexpr const char* kCostlyKinds[kCostlyKindCount] = {
    "0xFF", "codes", "numbers", "codes+numbers", "broken CRC-8", "random bytes", "pairs of a kind"};

/** 10 s of frames, then `size` bytes of a CostlyKind, in a stream that states frames of up to
    `max_frame` bytes. With kPairs the stream may be up to 2 * `max_frame` bytes longer. */
Bytes CostlyStream(int kind, size_t size, uint32_t max_frame);

/** In a fixed order: a comment, block, tag or frame many times; a huge comment or table, in some
    streams with small ones after it; blocks cut short; each CostlyKind. Most have about `size`
    bytes. Some need up to 20 times as many for enough blocks or frames. Their cost must not grow
    faster than their size. */
std::vector<NamedStream> RepeatingStreams(size_t size);

/** A file of about `size` bytes. Half of them are the digits of a date. Comments "DATE=" follow, or
    "DATF=" with `other_key`, all empty. With `in_blocks` each comment has a block of its own. */
Bytes DateStream(size_t size, bool other_key, bool in_blocks);

}  // namespace kelflac_streams
