// What the search for a frame's end remembers of the buffered bytes.
#pragma once

#include <cstdint>

// The sizes of the table below.
constexpr int KELFLACFD_HZ_CODES = 12;  ///< Sample-rate codes 0 to 11; 12 to 14 count as 0.
constexpr int KELFLACFD_MAX_CHANNELS = 8;
constexpr int KELFLACFD_BITS_CODES = 7;  ///< Sample-size codes 0 to 6.

/**
 * The headers that earlier searches for a successor have met.
 *
 * A header's kind is its sample-rate code, channels and sample-size code. A successor has the same
 * kind as its frame. The table holds the place of the last header of each kind. When it shows no
 * header of the frame's kind after the frame's header, the search starts at `noted`. So failed
 * searches go over each byte about once, also where much of the audio looks like headers.
 *
 * KELFLACF_FAL::reach says what a place is.
 */
struct KELFLACFD_SEEN {
    int64_t noted;  ///< The headers before this place are noted, or not needed any more.
    /** Places; 0: none. Indexes: sample-rate code, channels - 1, sample-size code. */
    int64_t last[KELFLACFD_HZ_CODES][KELFLACFD_MAX_CHANNELS][KELFLACFD_BITS_CODES];
};
