// A stream decoded by libFLAC.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "input.h"
#include "reasons.h"

namespace kelflac {

/** The result of decoding a stream. Places are in bytes from its start. */
struct Decoded {
    bool known = false;  ///< False: not decoded.
    Reasons faults;      ///< What is wrong with the stream.
    uint64_t frames = 0;
    uint64_t samples = 0;   ///< Of each channel.
    uint64_t hash = 0;      ///< Of the samples; for comparison within one run of the program.
    uint32_t rate = 0;      ///< Samples a second.
    bool has_info = false;  ///< STREAMINFO was met.
    bool has_md5 = false;
    uint64_t stated_samples = 0;
    int64_t info_at = 0;  ///< The body of STREAMINFO.
    int64_t metadata_end = 0;
    int64_t first_end = 0;        ///< After the first frame; 0 = there is none.
    int64_t end = 0;              ///< After the last frame, or after the metadata.
    uint64_t smallest_frame = 0;  ///< In bytes, of undamaged frames except the last; 0 = not known.
    uint64_t largest_frame = 0;
};

/** Stores up to `room` bytes of a stream. Returns how many; 0 at its end. */
using Pull = std::function<size_t(uint8_t* to, size_t room)>;

/** Gives these bytes and then the others, always as many as asked for, except at the end: short
    reads change how libFLAC goes on after an error. */
Pull inFront(std::string bytes, Pull others);

/** Gives a file's bytes from `at` on. A failed read is the end. */
Pull bytesOf(FileInput& file, int64_t at);

/** Decodes a stream. In a program without libFLAC `known` is false. */
Decoded decode(const Pull& pull);

/** Decodes a file. If no sample is missing, also looks for bytes after the audio. */
Decoded decodeFile(FileInput& file);

}  // namespace kelflac
