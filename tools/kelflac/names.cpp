#include "names.h"

#include <cerrno>
#include <cstring>

#include "errors.h"
#include "text.h"

namespace fs = std::filesystem;

namespace kelflac {
namespace {

bool isFlac(const fs::directory_entry& entry) {
    std::error_code gone;
    return strcasecmp(entry.path().extension().c_str(), ".flac") == 0 && !entry.is_directory(gone);
}

}  // namespace

Names::Names(std::vector<std::string> given, const std::string& list, char end)
    : mGiven(std::move(given)), mEnd(end) {
    if (list.empty()) return;
    mList.open(list == "-" ? "/dev/stdin" : list);
    if (!mList.is_open()) throw FileError("can't open " + list + ": " + strerror(errno));
}

std::optional<std::string> Names::next() {
    const std::lock_guard<std::mutex> guard(mLock);
    for (;;) {
        if (auto file = nextInFolder()) return file;
        auto name = nextGiven();
        if (!name || !fs::is_directory(*name, mFailure)) return name;
        mFolder = *name;
        mFound = false;
        mWalk = fs::recursive_directory_iterator(mFolder, mFailure);
    }
}

std::optional<std::string> Names::nextGiven() {
    if (mTaken < mGiven.size()) return mGiven[mTaken++];
    std::string line;
    while (mList.is_open() && std::getline(mList, line, mEnd)) {
        if (!line.empty()) return line;
    }
    mFailed = mFailed || mList.bad();
    return std::nullopt;
}

std::optional<std::string> Names::nextInFolder() {
    if (mFolder.empty()) return std::nullopt;
    while (mWalk != fs::recursive_directory_iterator()) {
        const fs::directory_entry entry = *mWalk;
        mWalk.increment(mFailure);  // The walk ends where that fails.
        if (!isFlac(entry)) continue;
        mFound = true;
        return entry.path().string();
    }
    if (mFailure || !mFound) {
        reportError(mFolder, mFailure ? mFailure.message() : "holds no file that ends in .flac");
        mFailed = true;
    }
    mFolder.clear();
    return std::nullopt;
}

}  // namespace kelflac
