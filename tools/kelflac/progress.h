// A progress bar on a terminal.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace kelflac {

/** A line on standard error that is drawn anew as work goes on, and wiped at the end. */
class ProgressBar {
  public:
    /** Draws only if wanted and on a terminal. */
    explicit ProgressBar(bool wanted) : mWanted(wanted && isatty(STDERR_FILENO) != 0) {}
    ~ProgressBar() { wipe(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /** A `total` of 0 is unknown and draws nothing. */
    void update(uint64_t done, uint64_t total) {
        if (!mWanted || total == 0) return;
        const auto percent = static_cast<int>(done * 100 / total);
        if (percent == mPercent) return;
        mPercent = percent;
        const std::string bar(static_cast<size_t>(percent * kWidth / 100), '#');
        fprintf(stderr, "\r[%-*s] %3d%%", kWidth, bar.c_str(), percent);
    }

    /** Clears the line for other text; the next update draws again. */
    void wipe() {
        constexpr int kLine = kWidth + 7;
        if (mPercent >= 0) fprintf(stderr, "\r%*s\r", kLine, "");
        mPercent = -1;
    }

  private:
    static constexpr int kWidth = 50;
    bool mWanted;
    int mPercent = -1;  ///< As drawn; -1 when nothing is.
};

}  // namespace kelflac
