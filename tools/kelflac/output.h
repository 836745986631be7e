// A file to write.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace kelflac {

/** A file being written. It gets its name when it is complete; until then an old file of that name
    stays. An unfinished file is removed. Failures throw FileError, most with the output's
    name in the text. One at a time. */
class Output {
  public:
    /** Begins a file that is to be at `path`. It must not be `input` or a terminal. Without `force`
        it must not exist. "-" is standard output. Devices and pipes are
        written to as they are. */
    Output(const std::string& path, const std::string& input, bool force);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(std::string_view bytes);
    /** Where the bytes go, for another program to write to. */
    int descriptor() const { return fileno(mFile.get()); }
    /** Completes the file. Without this call it is given up. */
    void close();

  private:
    using File = std::unique_ptr<FILE, int (*)(FILE*)>;

    [[noreturn]] void fail() const;

    std::string mPath;
    unsigned mRenameFlags;
    std::string mPart;  ///< The name until then; empty where there is none.
    File mFile{nullptr, fclose};
};

}  // namespace kelflac
