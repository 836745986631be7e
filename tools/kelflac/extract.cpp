#include <cinttypes>
#include <cstdio>

#include "commands.h"
#include "errors.h"
#include "output.h"
#include "progress.h"
#include "session.h"
#include "text.h"

namespace kelflac {

void extract(const Plugin& plugin, const Options& options, const std::string& file) {
    Session session(plugin, file, options.size_known);
    session.open();
    session.startTrack();
    const std::string head = Session::bufferOf(session.trackFormat(), AMEDIAFORMAT_KEY_CSD_0);
    if (head.empty()) throw FileError("has no codec-specific data");
    Output output(options.output, file, options.force);
    output.write(head);
    uint64_t bytes = head.size();
    off64_t size = 0;
    session.input().getSize(&size);
    Progress progress(!options.verbose && !options.quiet, static_cast<uint64_t>(size));
    const Run run = session.read(std::nullopt, [&](const Frame& frame) {
        output.write(frame.bytes);
        progress.update(bytes += frame.bytes.size());
        return true;
    });
    progress.wipe();
    // If reads stop before the end, the new file is dropped.
    if (run.status != AMEDIA_ERROR_END_OF_STREAM) throw FileError(run.failure);
    output.close();
    if (!options.quiet) {
        fprintf(stderr, "%s: %" PRIu64 " buffers, %" PRIu64 " bytes, duration %s\n",
                displayText(options.output).c_str(), run.buffers, bytes,
                durationText(session.durationUs()).c_str());
    }
    if (!run.failure.empty()) throw FileError(run.failure);
}

}  // namespace kelflac
