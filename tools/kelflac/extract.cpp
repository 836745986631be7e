#include <unistd.h>

#include <cinttypes>
#include <cstdio>

#include "commands.h"
#include "errors.h"
#include "output.h"
#include "session.h"
#include "text.h"

namespace kelflac {
namespace {

/** A line on standard error that is drawn anew as the reading goes on, and wiped at the end. */
class ProgressBar {
  public:
    /** A file of unknown size gets no bar. */
    ProgressBar(FileInput& input, bool wanted) : mInput(input) {
        if (wanted) mInput.getSize(&mSize);
    }
    ~ProgressBar() {
        if (mSize > 0) fputs("\r\x1B[K", stderr);
    }
    ProgressBar(const ProgressBar&) = delete;

    void update() {
        if (mSize <= 0) return;
        const auto percent = static_cast<int>(mInput.position() * 100 / mSize);
        if (percent == mPercent) return;
        mPercent = percent;
        constexpr int kWidth = 50;
        const std::string bar(static_cast<size_t>(percent * kWidth / 100), '#');
        fprintf(stderr, "\r[%-*s] %3d%%", kWidth, bar.c_str(), percent);
    }

  private:
    FileInput& mInput;
    off64_t mSize = 0;  ///< 0 for no bar.
    int mPercent = -1;
};

}  // namespace

int runExtract(const Plugin& plugin, const Options& options) {
    Session session(plugin, options.file, options.size_known);
    session.open();
    session.startTrack();
    void* header = nullptr;
    size_t bytes = 0;
    if (!AMediaFormat_getBuffer(session.trackFormat(), AMEDIAFORMAT_KEY_CSD_0, &header, &bytes)) {
        throw FileError("has no codec-specific data");
    }
    Output output(options.output, options.file);
    output.write(header, bytes);
    Run run;
    {
        ProgressBar bar(session.input(), isatty(STDERR_FILENO) != 0 && !options.verbose);
        run = session.read(std::nullopt, [&](const Frame& frame) {
            output.write(frame.data, frame.size);
            bytes += frame.size;
            bar.update();
            return true;
        });
    }
    output.close();

    int64_t duration_us = 0;
    AMediaFormat_getInt64(session.trackFormat(), AMEDIAFORMAT_KEY_DURATION, &duration_us);
    fprintf(options.output == "-" ? stderr : stdout,
            "%s: %" PRIu64 " buffers, %zu bytes, duration %s\n",
            displayText(options.output).c_str(), run.buffers, bytes,
            durationText(duration_us).c_str());
    if (run.failure.empty()) return kExitOk;
    reportError(options.file, run.failure);
    return kExitFile;
}

}  // namespace kelflac
