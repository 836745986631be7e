// Streams that are wrong or rare: each length and count of a file at values where parsers fail,
// fields of STREAMINFO at their extremes, and faults known from other parsers.
#pragma once

#include "tools/streams/stream_builder.h"

namespace kelflac_streams {

struct NamedStream {
    std::string name;  ///< What is special, in words that can be a file name.
    Bytes bytes;
};

/** Streams about one subject. */
struct StreamGroup {
    std::string title;  ///< What they test, in sentences.
    std::vector<NamedStream> streams;
};

/** All groups, in a fixed order. */
std::vector<StreamGroup> HostileGroups();
std::vector<NamedStream> HostileStreams();  ///< The streams of all groups.

/** A seek to kCreepingUs finds frame numbers that come nearer and nearer to the target, but never
    reach it. The file's last number is huge: so each step is short, and each probe reads the same
    bytes again. */
Bytes CreepingStream();
constexpr int64_t kCreepingUs = 9'287'981'860;

/** A number with its unit: "1 byte", "30,000 bytes". `unit` is a plural or empty. */
std::string Counted(uint64_t number, const std::string& unit);

}  // namespace kelflac_streams
