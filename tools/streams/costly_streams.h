// Streams that cost more than they look: bytes that make a search for headers work, and one thing
// of a file repeated until the file is as large as wanted.
#pragma once

#include "tools/streams/hostile_streams.h"

namespace kelflac_streams {

/** Bytes that make a search for headers work. */
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

/** 10 s of real frames, then `size` bytes of a CostlyKind, in a stream that states frames of up to
    `max_frame` bytes. */
Bytes CostlyStream(int kind, size_t size, uint32_t max_frame);

/** Streams that grow as `size` does, in a fixed order: the same comment, block, tag or frame again
    and again, or a huge one and then small ones. Most have about `size` bytes. Some have as many
    blocks or frames as are wanted, up to 20 times as many bytes. The work that they make must grow
    as their size does. */
std::vector<NamedStream> RepeatingStreams(size_t size);

/** A file of `size` bytes, half of them the digits of a date, then comments "DATE=", or "DATF="
   with `other_key`; in one block, or in `blocks` a block for each comment. */
Bytes DateStream(size_t size, bool other_key, bool in_blocks);

}  // namespace kelflac_streams
