// The faults of a file, and of the plug-in's work on it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelflac {

struct Reason {
    std::string code;  ///< Stays the same from version to version.
    std::string text;
    std::optional<int64_t> byte{};     ///< The first place in the file, if known.
    std::optional<int64_t> time_us{};  ///< The first time in the audio, if known.
    uint64_t count = 1;
};

/** Reasons in the order in which they were first met, one for each code. */
class Reasons {
  public:
    void add(const Reason& reason) {
        const auto known = std::find_if(mAll.begin(), mAll.end(),
                                        [&](const Reason& r) { return r.code == reason.code; });
        known == mAll.end() ? mAll.push_back(reason) : void(++known->count);
    }
    bool none() const { return mAll.empty(); }
    const std::vector<Reason>& all() const { return mAll; }

  private:
    std::vector<Reason> mAll;
};

}  // namespace kelflac
