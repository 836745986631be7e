// Streams that are wrong on purpose: each length and count of a file at the values that parsers
// trip over, fields of STREAMINFO at their extremes, and faults that other parsers have had.
#pragma once

#include "tools/streams/stream_builder.h"

namespace kelflac_streams {

struct NamedStream {
    std::string name;  ///< Plain words that tell what is wrong, fit for a file name.
    Bytes bytes;
};

/** Streams that try one thing. */
struct StreamGroup {
    std::string title;  ///< What they try, as a sentence.
    std::vector<NamedStream> streams;
};

/** All of them, in a fixed order. */
std::vector<StreamGroup> HostileGroups();
std::vector<NamedStream> HostileStreams();  ///< Those of each group.

/** A seek to kCreepingUs meets frames whose numbers creep towards its target's and never reach it.
    The last number is so large that each step is short, and the next probe crosses as much again.
 */
Bytes CreepingStream();
constexpr int64_t kCreepingUs = 9'287'981'858;

/** A number with its unit, which is given in the plural: "1 byte", "30,000 bytes". */
std::string Counted(uint64_t number, const std::string& unit);

}  // namespace kelflac_streams
