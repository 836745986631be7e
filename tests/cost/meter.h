// What a file costs, counted by the compiler: each basic block of the library that runs, and each
// 16 bytes that the C library copies, fills or compares meanwhile. The same input always costs the
// same, so that a law can be held to the last block; no clock is asked.
#pragma once

#include <cstdint>

#include "host/data_source.h"

namespace kelflac_test {

// The law: a life costs at most kBlocksPerByte for each byte that the source delivers and
// kBlocksPerCall for each call of the callback tables. A byte counts once for each open, however
// often it is read. The zeros that a stored value gets where its source gives nothing count as
// delivered; so do the zeros of an open's own records, about 10 KB. A query whose open fails pays
// for that open, and so does the next query.
//
// Honest files cost 0.03 to 0.3 blocks a byte. The most that a hostile one has been made to cost is
// 14.9, by a number whose digits do not end.
constexpr uint64_t kBlocksPerByte = 24;
constexpr uint64_t kBlocksPerCall = 2000;
constexpr double kHonestBlocksPerByte = 0.5;

/** What a life came to. */
struct Bill {
    uint64_t blocks, bytes, calls;
    double PerByte() const { return static_cast<double>(blocks) / static_cast<double>(bytes); }
    /** How much of what the law allows was spent, in percent. */
    uint64_t Percent() const {
        return 100 * blocks / (kBlocksPerByte * bytes + kBlocksPerCall * calls);
    }
};

/**
 * Plays the framework over a source and counts: sniffed, asked everything, both formats copied,
 * read to the end, torn down. Without a seek, which has a law of its own.
 *
 * Ends the process, with `name` on standard error, as soon as the law is broken.
 */
Bill MeterLife(const char* name, host::DataSource* source);

/** Prints a bill that spends more of what the law allows than any before, and lets libFuzzer keep
    such an input. */
void TellMost(const Bill& bill);

}  // namespace kelflac_test
