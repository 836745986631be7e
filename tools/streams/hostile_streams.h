// Streams that are wrong on purpose: each length and count of a file at the values that parsers
// trip over, fields of STREAMINFO at their extremes, and faults that other parsers have had.
#pragma once

#include "tools/streams/stream_builder.h"

namespace kelflac_streams {

struct NamedStream {
    std::string name;  ///< Words that tell what is wrong, fit for a file name.
    Bytes bytes;
};

/** The whole table, in a fixed order. */
std::vector<NamedStream> HostileStreams();

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

}  // namespace kelflac_streams
