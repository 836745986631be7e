#include "output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>

#include "errors.h"

namespace fs = std::filesystem;

namespace kelflac {
namespace {

const char* volatile partAtWork = nullptr;  ///< The file to remove when a signal ends the program.

void removePart(int signal) {
    if (const char* part = partAtWork; part != nullptr) unlink(part);
    std::signal(signal, SIG_DFL);
    raise(signal);
}

}  // namespace

Output::Output(const std::string& path, const std::string& input, bool force)
    : mPath(path), mRenameFlags(force ? 0 : RENAME_NOREPLACE) {
    std::error_code missing;
    if (path != "-" && fs::equivalent(path, input, missing)) {
        throw FileError("can't write " + mPath + ": it is the input");
    }
    const fs::file_status status = fs::status(path, missing);
    if (path == "-") {
        mFile = File(stdout, fflush);
    } else if (fs::exists(status) && !fs::is_regular_file(status)) {
        mFile = File(fopen(path.c_str(), "wbe"), fclose);
    } else if (fs::exists(status) && !force) {
        throw FileError("won't overwrite " + mPath + ": --force does");
    } else {
        mPart = path + "." + std::to_string(getpid()) + ".part";
        mFile = File(fopen(mPart.c_str(), "wbx"), fclose);
        if (mFile == nullptr) mPart.clear();
    }
    if (mFile == nullptr) fail();
    if (isatty(fileno(mFile.get())) != 0) {
        throw FileError("won't write to a terminal: name a file or redirect the output");
    }
    if (mPart.empty()) return;
    partAtWork = mPart.c_str();
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        if (std::signal(signal, removePart) == SIG_IGN) std::signal(signal, SIG_IGN);
    }
}

Output::~Output() {
    partAtWork = nullptr;
    if (!mPart.empty()) unlink(mPart.c_str());
}

void Output::write(std::string_view bytes) {
    if (fwrite(bytes.data(), 1, bytes.size(), mFile.get()) != bytes.size()) fail();
}

void Output::close() {
    if (mFile.get_deleter()(mFile.release()) != 0) fail();
    if (mPart.empty()) return;
    // Another program may have made the file meanwhile. Not all file systems support the flag.
    if (renameat2(AT_FDCWD, mPart.c_str(), AT_FDCWD, mPath.c_str(), mRenameFlags) != 0 &&
        (errno != EINVAL || rename(mPart.c_str(), mPath.c_str()) != 0))
        fail();
    mPart.clear();
}

void Output::fail() const {
    throw FileError("can't write " + mPath + ": " + strerror(errno));
}

}  // namespace kelflac
