// The streams that the benchmarks read.
#pragma once

#include <string>

#include "bench/memory_source.h"

namespace kelflac_bench {

/** Encoded by libFLAC: "16-44", "24-96" (stereo) or "24-192x6" (6 channels); minutes each. Made
    once and kept in the working folder, in files bench-*.flac. */
const Bytes& Encoded(const std::string& name);

/** Streams for openings, a few frames each: "bare" has a STREAMINFO alone, "untimed" one without
    its sample count, "tagged" a 4 MiB picture, 100 comments of a KiB and a SEEKTABLE. */
const Bytes& ForOpening(const std::string& name);

/** Bytes that make a search work: see kHostileKinds. 10 s of real frames, then `size` bytes, in a
    stream that states frames of up to `max_frame` bytes. A smaller size gives a beginning of the
    larger one's stream. */
Bytes Hostile(int kind, size_t size, uint32_t max_frame);
constexpr const char* kHostileKinds[] = {
    "0xFF", "codes", "numbers", "codes+numbers", "broken CRC-8", "random bytes", "pairs of a kind"};
constexpr int kHostileKindCount = 7, kRandomBytes = 5;

/** Frames of which size a hostile stream states, and so how large the reader's ring is. */
struct HostileRing {
    const char* name;
    uint32_t max_frame;
};
constexpr HostileRing kSmallRing = {"small ring", 9000}, kLargeRing = {"large ring", 0xFFFFFF};

/** A source of `mib` MiB of hostile bytes. The bytes are kept until others are asked for, so that
    the sizes of a kind, the largest first, are made at once. */
MemorySource HostileSource(int kind, const HostileRing& ring, size_t mib);
constexpr size_t kHostileSizes[] = {64, 32, 16, 8, 4, 2};

}  // namespace kelflac_bench
