// A file to write.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace kelflac {

/** A file being written. It gets its name when it is complete; until then an old file of that name
    stays. An unfinished file is removed. Failures throw FileError, most with the output's name in
    the text. Never keep two of these objects at a time. */
class Output {
  public:
    /** Begins the file for `path`. That must not be `input` or a terminal. Without `force` it must
        not be an old file. "-" is standard output. Devices and pipes are written to directly. */
    Output(const std::string& path, const std::string& input, bool force);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void write(std::string_view bytes);
    /** Where the bytes go, for another program to write to. */
    int descriptor() const { return fileno(mFile.get()); }
    /** Completes the file, which is removed without this call. */
    void close();

  private:
    using File = std::unique_ptr<FILE, int (*)(FILE*)>;

    [[noreturn]] void fail() const;

    std::string mPath;
    unsigned mRenameFlags;
    std::string mPart;  ///< The name until close(), or empty.
    File mFile{nullptr, fclose};
};

}  // namespace kelflac
