// The streams that the benchmarks read.
#pragma once

#include <string>

#include "bench/memory_source.h"
#include "tools/streams/costly_streams.h"

namespace kelflac_bench {

/** Encoded by libFLAC: "16-44", "24-96" (stereo) or "24-192x6" (6 channels); minutes each. Made
    once and kept in the working folder, in files bench-*.flac. */
const Bytes& Encoded(const std::string& name);

/** Streams for openings, a few frames each: "bare" has a STREAMINFO alone, "untimed" one without
    its sample count, "tagged" a 4 MiB picture, 100 comments of a KiB and a SEEKTABLE. */
const Bytes& ForOpening(const std::string& name);

/** Frames of which size a hostile stream states, and so how large the reader's ring is. */
struct HostileRing {
    const char* name;
    uint32_t max_frame;
};
constexpr HostileRing kSmallRing = {"small ring", 9000}, kLargeRing = {"large ring", 0xFFFFFF};

/** A source of `mib` MiB of hostile bytes, as of CostlyStream. The bytes are kept until others are
    asked for, so that the sizes of a kind, the largest first, are made at once. */
MemorySource HostileSource(int kind, const HostileRing& ring, size_t mib);
constexpr size_t kHostileSizes[] = {64, 32, 16, 8, 4, 2};

/** What honest streams to set beside the hostile ones are of: 16 MiB of frames of 4,000 bytes;
    behind them, in the second, as many of digital silence, 14 bytes each. */
constexpr const char* kHonestKinds[] = {"music", "half silence"};
constexpr int kHonestKindCount = 2;
Bytes HonestStream(int kind, const HostileRing& ring);

}  // namespace kelflac_bench
