// The program's commands.
#pragma once

#include <cstdint>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "names.h"
#include "original.h"
#include "plugin.h"

namespace kelflac {

using Json = nlohmann::ordered_json;

/** What the command line asks for. */
struct Options {
    bool size_known = true;  ///< Whether sources tell the plug-in their size.
    bool verbose = false;
    bool quiet = false;  ///< Leave out progress, totals, warnings and "ok" lines.
    bool json = false;
    bool csv = false;             ///< For frames.
    bool full = false;            ///< For info: don't shorten.
    bool all = false;             ///< For frames: seek when the plug-in stops searching.
    bool force = false;           ///< Overwrite.
    bool decode = true;           ///< For check.
    bool several = false;         ///< Files.
    std::optional<unsigned> art;  ///< For info of a single file: the picture to write, from 1; 0 =
                                  ///< the one that the plug-in publishes.
    std::optional<int64_t> seek_us;                         ///< For frames.
    uint64_t count = std::numeric_limits<uint64_t>::max();  ///< For frames, at most.
    std::string output;  ///< The file to write, "-" = standard output.
    unsigned jobs = 1;   ///< For check: files at once.
};

/** A command on one file; "-" = standard input. Throws FileError. */
using FileCommand = void (*)(const Plugin&, const Options&, const std::string& file);

/** Describes a file, or writes one of its pictures. */
void showInfo(const Plugin& plugin, const Options& options, const std::string& file);

/** Lists the buffers that the track hands out. With --csv the caller prints the column names. */
void listFrames(const Plugin& plugin, const Options& options, const std::string& file);

/** Writes the codec-specific data and every buffer: a FLAC file without tags. */
void extract(const Plugin& plugin, const Options& options, const std::string& file);

/** Draws the sizes of the frames over time, and where seeks land. */
void plot(const Plugin& plugin, const Options& options, const std::string& file);

/** The places of the ID3 tags, and the metadata blocks from libFLAC or why it can't read them. */
Json inFile(Original& original);

/** The data of picture `number`, counted from 1. Throws FileError if it can't be had. */
std::string pictureInFile(Original& original, unsigned number);

/** The verdicts on plug-in and file, as --json prints them. Throws FileError if a read fails. */
Json judge(const Plugin& plugin, const Options& options, const std::string& file);

/** Judges each file, and how the plug-in reads it. */
int check(const Plugin& plugin, const Options& options, Names& names);

/** Prints a value as one line of ASCII, so that no tag controls a terminal. Bytes that are no UTF-8
    become U+FFFD. */
inline void printJson(const Json& value) {
    puts(value.dump(-1, ' ', true, Json::error_handler_t::replace).c_str());
}

}  // namespace kelflac
