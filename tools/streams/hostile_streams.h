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

}  // namespace kelflac_streams
