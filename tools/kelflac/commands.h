// The program's commands. Each returns an ExitCode and has said on standard error what failed, or
// throws FileError for Options::file.
#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "plugin.h"

namespace kelflac {

/** What the command line asks for. */
struct Options {
    bool size_known = true;  ///< Whether sources tell the plug-in their size.
    bool verbose = false;
    bool json = false;
    std::vector<std::string> files;  ///< For info.
    std::string art;                 ///< For info of a single file: where to save the album art.
    std::string file;                ///< For frames and extract.
    std::optional<double> seek;      ///< For frames: seconds.
    uint64_t count = std::numeric_limits<uint64_t>::max();  ///< For frames: buffers.
    std::string output;  ///< For extract: the file to write, "-" = standard output.
};

/** Shows what the plug-in tells about each file. Goes on after a file that fails. */
int runInfo(const Plugin& plugin, const Options& options);

/** Lists the buffers that the track hands out. */
int runFrames(const Plugin& plugin, const Options& options);

/** Writes the codec-specific data and every buffer: a FLAC file without tags. */
int runExtract(const Plugin& plugin, const Options& options);

using Json = nlohmann::ordered_json;

/** Prints a value as one line. Bytes that are no UTF-8 become U+FFFD. */
inline void printJson(const Json& value) {
    puts(value.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
}

}  // namespace kelflac
