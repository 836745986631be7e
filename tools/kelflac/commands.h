// The program's commands.
#pragma once

#include <cstdint>
#include <cstdio>
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
    std::vector<std::string> files;  ///< "-" = standard input. One for extract and plot.
    std::string art;                 ///< For info of a single file: where to save the album art.
    std::optional<double> seek;      ///< For frames: seconds.
    uint64_t count = std::numeric_limits<uint64_t>::max();  ///< For frames: buffers.
    std::string output;  ///< For extract and plot: the file to write, "-" = standard output.
    unsigned jobs = 1;   ///< For check: files at once.
};

/** A command on one of the files. Throws FileError for it. */
using FileCommand = void (*)(const Plugin&, const Options&, const std::string& file);

/** Shows what the plug-in tells about a file. */
void showInfo(const Plugin& plugin, const Options& options, const std::string& file);

/** Lists the buffers that the track hands out. */
void listFrames(const Plugin& plugin, const Options& options, const std::string& file);

/** Writes the codec-specific data and every buffer: a FLAC file without tags. */
void extract(const Plugin& plugin, const Options& options, const std::string& file);

/** Draws the sizes of the frames over time, and where seeks land. */
void plot(const Plugin& plugin, const Options& options, const std::string& file);

/** Reads each file to the end, seeks, and compares what the track hands out with the file. */
int check(const Plugin& plugin, const Options& options);

using Json = nlohmann::ordered_json;

/** Prints a value as one line of ASCII, so that no tag can drive a terminal. Bytes that are no
    UTF-8 become U+FFFD. */
inline void printJson(const Json& value) {
    puts(value.dump(-1, ' ', true, Json::error_handler_t::replace).c_str());
}

/** A result of missingAudio as true or false, null when there is none. */
inline Json truncatedJson(std::optional<int64_t> missing_us) {
    return missing_us ? Json(*missing_us > 0) : Json(nullptr);
}

}  // namespace kelflac
