// The files that a command line names.
#pragma once

#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kelflac {

/** Gives the names of files one after another, to any thread. For a folder these are all files
    below it that end in ".flac", in upper or lower case. */
class Names {
  public:
    /** @param given files and folders.
        @param list a file with more of them, each ended by `end`; "-" = standard input, empty =
            none. Throws FileError if it can't be opened. */
    Names(std::vector<std::string> given, const std::string& list, char end);

    /** The next file. Reports a folder that can't be read, or that holds no such file, and goes
        on. */
    std::optional<std::string> next();
    /** Whether next() met such a folder, or could not read the list. Never while next() runs. */
    bool failed() const { return mFailed; }

  private:
    std::optional<std::string> nextGiven();
    std::optional<std::string> nextInFolder();

    std::mutex mLock;  ///< Guards what follows.
    std::vector<std::string> mGiven;
    size_t mTaken = 0;  ///< Of mGiven.
    std::ifstream mList;
    char mEnd;
    std::string mFolder;  ///< The one being walked, or empty.
    std::filesystem::recursive_directory_iterator mWalk;
    std::error_code mFailure;  ///< Of the walk.
    bool mFound = false;       ///< The walk has found a file.
    bool mFailed = false;
};

}  // namespace kelflac
