#include <cmath>
#include <cstdio>

#include "commands.h"
#include "errors.h"
#include "session.h"
#include "text.h"
#include "walk.h"

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

Json jsonOf(const std::string& file, const Run& run, std::optional<int64_t> missing_us) {
    return {{"file", file},
            {"status", static_cast<int>(run.status)},
            {"status_text", statusText(run.status)},
            {"buffers", run.buffers},
            {"pieces", run.pieces},
            {"refused", run.refused},
            {"truncated", truncatedJson(missing_us)}};
}

/** The fields of the object, under the same names. */
void printForPeople(const Json& frame) {
    for (const auto& [key, value] : frame.items())
        printf("%s%s=%s", key == "index" ? "" : "  ", key.c_str(), value.dump().c_str());
    puts("");
}

}  // namespace

void listFrames(const Plugin& plugin, const Options& options, const std::string& file) {
    if (options.files.size() > 1 && !options.json) printf("%s\n", displayText(file).c_str());
    Session session(plugin, file, options.size_known);
    session.open();
    session.startTrack();
    std::optional<int64_t> seek_us;
    if (options.seek) seek_us = std::llround(*options.seek * 1e6);
    const Run run = session.read(seek_us, [&](const Frame& frame) {
        options.json ? printJson(jsonOf(frame)) : printForPeople(jsonOf(frame));
        return frame.index + 1 < options.count;
    });
    std::optional<int64_t> missing_us;
    if (run.status == AMEDIA_ERROR_END_OF_STREAM) missing_us = missingAudio(session, run.end_us);
    if (options.json) printJson(jsonOf(file, run, missing_us));
    reportWarning(file, truncationText(missing_us));
    if (run.pieces > 0) {
        reportWarning(file, std::to_string(run.pieces) +
                                " buffers are pieces of a fixed size, no single frames: the "
                                "plug-in has stopped searching");
    }
    if (!run.failure.empty()) throw FileError(run.failure);
}

}  // namespace kelflac
