// Progress on a terminal.
#pragma once

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace kelflac {

/** A line on standard error that is drawn again as work goes on, and wiped at the end. It shows
    megabytes, and fits the terminal. */
class Progress {
  public:
    /** Draws only if wanted and on a terminal. A `total` of 0 is unknown. */
    Progress(bool wanted, uint64_t total)
        : mWanted(wanted && isatty(STDERR_FILENO) != 0), mTotal(total) {}
    ~Progress() { wipe(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void update(uint64_t done, const std::string& what = "") {
        constexpr uint64_t kMega = 1'000'000;
        std::string text = std::to_string(done / kMega);
        if (mTotal > 0) text += " of " + std::to_string(mTotal / kMega);
        text += " MB" + what;
        if (!mWanted || text == mText) return;
        mText = text;
        winsize window{};
        ioctl(STDERR_FILENO, TIOCGWINSZ, &window);
        const size_t width = window.ws_col > 1 ? window.ws_col - size_t{1} : size_t{79};
        fprintf(stderr, "\r%s\x1B[K", text.substr(0, width).c_str());
    }

    /** Clears the line for other text; the next update draws again. */
    void wipe() {
        if (!mText.empty()) fputs("\r\x1B[K", stderr);
        mText.clear();
    }

  private:
    bool mWanted;
    uint64_t mTotal;
    std::string mText;  ///< The whole line, also what doesn't fit the terminal; empty: no line.
};

}  // namespace kelflac
