// The files that a command line names.
#pragma once

#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kelflac {

/** The names of files one after another, however many, from any thread. For a folder: all
    files below it that end in ".flac", also in capitals. */
class Names {
  public:
    /** @param given files and folders.
        @param list a file with more of them, each ended by `end`; "-" = standard input, empty =
            none. Throws FileError if it can't be opened. */
    Names(std::vector<std::string> given, const std::string& list, char end);

    /** The next file. Reports a folder that can't be read, or that holds no such file, and goes
        on. */
    std::optional<std::string> next();
    /** Whether next() met such a folder or a failed read. Not to be called while next() runs. */
    bool failed() const { return mFailed; }

  private:
    std::optional<std::string> nextGiven();
    std::optional<std::string> nextInFolder();

    std::mutex mLock;  ///< Guards what follows.
    std::vector<std::string> mGiven;
    size_t mTaken = 0;  ///< Of those.
    std::ifstream mList;
    char mEnd;
    std::string mFolder;  ///< That is being walked.
    std::filesystem::recursive_directory_iterator mWalk;
    std::error_code mFailure;  ///< Of the walk.
    bool mFound = false;       ///< Something in it.
    bool mFailed = false;
};

}  // namespace kelflac
