// Streams that are wrong on purpose: each length and count of a file at values where parsers fail,
// fields of STREAMINFO at their extremes, and faults known from other parsers.
#pragma once

#include "tools/streams/stream_builder.h"

namespace kelflac_streams {

struct NamedStream {
    std::string name;  ///< What is wrong, in words that can be a file name.
    Bytes bytes;
};

/** Streams that test one thing. */
struct StreamGroup {
    std::string title;  ///< What they test, as a sentence.
    std::vector<NamedStream> streams;
};

/** All groups, in a fixed order. */
std::vector<StreamGroup> HostileGroups();
std::vector<NamedStream> HostileStreams();  ///< The streams of all groups.

/** A seek to kCreepingUs finds frames whose numbers come nearer to its target's but never reach it.
    The last number is so large that each step is short, and each probe reads the same bytes again.
 */
Bytes CreepingStream();
constexpr int64_t kCreepingUs = 9'287'981'858;

/** A number with its unit: "1 byte", "30,000 bytes". `unit` is in the plural. */
std::string Counted(uint64_t number, const std::string& unit);

}  // namespace kelflac_streams
