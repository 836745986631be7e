#include <cinttypes>
#include <cstdio>

#include "commands.h"
#include "errors.h"
#include "output.h"
#include "progress.h"
#include "session.h"
#include "text.h"
#include "walk.h"

namespace kelflac {

void extract(const Plugin& plugin, const Options& options, const std::string& file) {
    Session session(plugin, file, options.size_known);
    session.open();
    session.startTrack();
    void* header = nullptr;
    size_t bytes = 0;
    if (!AMediaFormat_getBuffer(session.trackFormat(), AMEDIAFORMAT_KEY_CSD_0, &header, &bytes)) {
        throw FileError("has no codec-specific data");
    }
    Output output(options.output, file);
    output.write(header, bytes);
    off64_t size = 0;
    session.input().getSize(&size);
    ProgressBar bar(!options.verbose);
    const Run run = session.read(std::nullopt, [&](const Frame& frame) {
        output.write(frame.data, frame.size);
        bytes += frame.size;
        bar.update(static_cast<uint64_t>(session.input().position()), static_cast<uint64_t>(size));
        return true;
    });
    bar.wipe();
    output.close();

    fprintf(stderr, "%s: %" PRIu64 " buffers, %zu bytes, duration %s\n",
            displayText(options.output).c_str(), run.buffers, bytes,
            durationText(session.durationUs()).c_str());
    reportWarning(file, truncationText(missingAudio(session, run.end_us)));
    if (!run.failure.empty()) throw FileError(run.failure);
}

}  // namespace kelflac
