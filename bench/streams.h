// The streams that the benchmarks read. Made once, kept in files beside the program.
#pragma once

#include <string>

#include "tools/streams/stream_builder.h"

namespace kelflac_bench {

using kelflac_streams::Bytes;

/** Encoded by libFLAC: "16-44", "24-96" (stereo) or "24-192x6" (6 channels); minutes each. */
const Bytes& Encoded(const std::string& name);

/** STREAMINFO and a few frames behind `pictures` bytes of art, `comments` bytes of text and a
    SEEKTABLE where these are not 0; `timed` false leaves the sample count out. */
Bytes Tagged(size_t pictures, size_t comments, bool timed);

/** Bytes that make a search work: see kHostileKinds. 10 s of real frames, then `size` bytes, in a
    stream that states frames of up to `max_frame` bytes. */
Bytes Hostile(int kind, size_t size, uint32_t max_frame);
constexpr const char* kHostileKinds[] = {
    "0xFF", "codes", "numbers", "codes+numbers", "broken CRC-8", "random bytes", "pairs of a kind"};
constexpr int kHostileKindCount = 7;

}  // namespace kelflac_bench
