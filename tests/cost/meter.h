// What a file costs: each run of a basic block of the library, and each 16 bytes that a function of
// the C library copies, fills, compares or scans. The compiler inserts code that counts the runs.
// The same input always costs the same.
#pragma once

#include <cstdint>

#include "host/data_source.h"

namespace kelflac_test {

// The cost law: what MeterLife plays costs at most kBlocksPerByte for each byte that the source
// delivers, and kBlocksPerCall for each call that it counts. A byte counts once for the sniffer and
// once for each open, even if it is read often. Zeros in a stored value, where the source gives
// nothing, count as delivered. So do the zeros of an open's own records, about 10 KB. Each query
// that needs the stream repeats a failed open: its bytes count again.
//
// Honest files cost 0.03 to 0.3 blocks a byte. The worst hostile file known costs 14.9: a number of
// very many digits.
constexpr uint64_t kBlocksPerByte = 24;
constexpr uint64_t kBlocksPerCall = 2000;
constexpr double kHonestBlocksPerByte = 0.5;

/** What a life cost. */
struct Bill {
    uint64_t blocks, bytes, calls;
    double PerByte() const { return static_cast<double>(blocks) / static_cast<double>(bytes); }
    /** The cost in percent of what the law allows. */
    uint64_t Percent() const {
        return 100 * blocks / (kBlocksPerByte * bytes + kBlocksPerCall * calls);
    }
};

/**
 * Plays the framework over a source and counts: sniffs, asks for the tracks, the flags and both
 * formats, starts, reads, tears down. It does not seek: a seek has a bound of its own.
 *
 * Prints `name` on standard error and ends the process as soon as the law is broken.
 */
Bill MeterLife(const char* name, host::DataSource* source);

/** Prints a bill if its percentage is the highest so far. libFuzzer then keeps its input. */
void TellMost(const Bill& bill);

}  // namespace kelflac_test
