#include <cmath>
#include <cstdio>

#include "commands.h"
#include "errors.h"
#include "session.h"
#include "text.h"

namespace kelflac {
namespace {

Json jsonOf(const Frame& frame) {
    Json object = {{"index", frame.index}};
    if (frame.time_us) object["time_us"] = *frame.time_us;
    if (frame.duration_us) object["duration_us"] = *frame.duration_us;
    object["size"] = frame.size;
    object["sync"] = frame.sync;
    return object;
}

Json jsonOf(const Run& run) {
    return {{"status", static_cast<int>(run.status)},
            {"status_text", statusText(run.status)},
            {"buffers", run.buffers},
            {"refused", run.refused}};
}

/** The fields of the object, under the same names. */
void printForPeople(const Json& frame) {
    for (const auto& [key, value] : frame.items())
        printf("%s%s=%s", key == "index" ? "" : "  ", key.c_str(), value.dump().c_str());
    puts("");
}

}  // namespace

int runFrames(const Plugin& plugin, const Options& options) {
    Session session(plugin, options.file, options.size_known);
    session.open();
    session.startTrack();
    std::optional<int64_t> seek_us;
    if (options.seek) seek_us = std::llround(*options.seek * 1e6);
    const Run run = session.read(seek_us, [&](const Frame& frame) {
        options.json ? printJson(jsonOf(frame)) : printForPeople(jsonOf(frame));
        return frame.index + 1 < options.count;
    });
    if (options.json) printJson(jsonOf(run));
    if (run.failure.empty()) return kExitOk;
    reportError(options.file, run.failure);
    return kExitFile;
}

}  // namespace kelflac
