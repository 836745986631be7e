// A file to write.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "errors.h"

namespace kelflac {

/** A file being written. Failures throw FileError, with the output's name in the text. */
class Output {
  public:
    /** Makes or empties the file at `path`, which must be neither the file `input` nor a terminal.
        `path` "-" is standard output. */
    Output(const std::string& path, const std::string& input) : mPath(path) {
        std::error_code missing;
        if (path != "-" && std::filesystem::equivalent(path, input, missing)) {
            throw FileError("can't write " + mPath + ": it is the input");
        }
        mFile = path == "-" ? File(stdout, fflush) : File(fopen(path.c_str(), "wbe"), fclose);
        if (mFile == nullptr) fail();
        if (isatty(fileno(mFile.get())) != 0) {
            throw FileError("won't write to a terminal: name a file or redirect the output");
        }
    }

    void write(const void* data, size_t size) {
        if (fwrite(data, 1, size, mFile.get()) != size) fail();
    }

    /** Brings everything to the file. Without this call errors go unnoticed. */
    void close() {
        if (mFile.get_deleter()(mFile.release()) != 0) fail();
    }

  private:
    using File = std::unique_ptr<FILE, int (*)(FILE*)>;

    [[noreturn]] void fail() const {
        throw FileError("can't write " + mPath + ": " + strerror(errno));
    }

    std::string mPath;
    File mFile{nullptr, fclose};
};

}  // namespace kelflac
