#include <cstdio>

#include "commands.h"
#include "errors.h"
#include "original.h"
#include "session.h"
#include "text.h"

namespace kelflac {
namespace {

Json jsonOf(const Frame& frame, uint64_t index, std::optional<off64_t> offset) {
    const auto orNull = [](const auto& value) { return value ? Json(*value) : Json(nullptr); };
    return {{"index", index},
            {"time_us", orNull(frame.time_us)},
            {"size", frame.bytes.size()},
            {"duration_us", orNull(frame.duration_us)},
            {"sync", frame.sync},
            {"offset", orNull(offset)},
            {"piece", !frame.single}};
}

/** The fields of the object, under the same names. */
std::string textOf(const Json& frame) {
    std::string text;
    for (const auto& [key, value] : frame.items())
        text += (text.empty() ? "" : "  ") + key + "=" + (value.is_null() ? "?" : value.dump());
    return text;
}

/** The file's name and the values, separated by commas. */
std::string csvOf(const std::string& file, const Json& frame) {
    std::string values = "\"";
    for (const char c : file) values += c == '"' ? "\"\"" : std::string(1, c);
    values += '"';
    for (const Json& value : frame) values += "," + (value.is_null() ? "" : value.dump());
    return values;
}

}  // namespace

void listFrames(const Plugin& plugin, const Options& options, const std::string& file) {
    if (!options.json && !options.csv && options.several) puts(displayText(file).c_str());
    Session session(plugin, file, options.size_known);
    session.open();
    session.startTrack();
    Original original(file);
    off64_t next = 0;
    uint64_t shown = 0;
    const auto show = [&](const Frame& frame) {
        std::optional<off64_t> offset = next;
        if (!original.standsAt(frame.bytes, next)) offset = original.find(frame.bytes, next);
        if (offset) next = *offset + static_cast<off64_t>(frame.bytes.size());
        const Json json = jsonOf(frame, shown++, offset);
        if (options.json) {
            printJson(json);
        } else {
            puts((options.csv ? csvOf(file, json) : textOf(json)).c_str());
        }
        return shown < options.count;
    };
    const Run run = options.all ? walkFrames(session, options.seek_us, show)
                                : session.read(options.seek_us, show);
    if (options.json) {
        printJson({{"file", file},
                   {"status", static_cast<int>(run.status)},
                   {"status_text", statusText(run.status)},
                   {"buffers", shown},
                   {"pieces", run.pieces},
                   {"refused", run.refused}});
    }
    if (run.pieces > 0 && !options.all && !options.quiet) {
        reportError(file, "warning: " + std::to_string(run.pieces) +
                              " buffers are pieces of a fixed size, not whole frames: the plug-in "
                              "has stopped searching; try --all");
    }
    if (!run.failure.empty()) throw FileError(run.failure);
}

}  // namespace kelflac
