#include "input.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>

#include "errors.h"

namespace kelflac {
namespace {

/** Copies a stream into memory. Returns the name of a file with its bytes, open until the program
    ends. */
std::string hold(const std::string& stream) {
    constexpr size_t kMaxBytes = size_t{64} << 20;
    std::ifstream in(stream == "-" ? "/dev/stdin" : stream, std::ios::binary);
    std::string bytes(kMaxBytes + 1, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!in.is_open() || in.bad()) throw FileError(strerror(errno));
    const auto size = static_cast<size_t>(in.gcount());
    if (size > kMaxBytes) throw FileError("input of more than 64 MiB");
    const int memory = memfd_create("kelflac", MFD_CLOEXEC);
    if (write(memory, bytes.data(), size) < 0) throw FileError(strerror(errno));
    return "/proc/self/fd/" + std::to_string(memory);
}

/** The file at `path`, or one with the bytes of the stream there. */
std::string fileWith(const std::string& path) {
    static std::mutex lock;  // Guards `streams`.
    static std::map<std::string, std::string> streams;
    struct stat about {};
    const bool exists = stat(path.c_str(), &about) == 0;
    if (path != "-" && !(exists && (S_ISFIFO(about.st_mode) || S_ISCHR(about.st_mode))))
        return path;
    const std::lock_guard<std::mutex> guard(lock);
    std::string& file = streams[path];
    if (file.empty()) file = hold(path);
    return file;
}

}  // namespace

FileInput::FileInput(const std::string& path, bool size_known)
    : FileInput(size_known, fileWith(path)) {}

FileInput::FileInput(bool size_known, const std::string& file)
    : FileSource(file.c_str()), mSizeKnown(size_known), mPath(file) {
    if (!isOpen()) throw FileError(strerror(errno));
}

ssize_t FileInput::readAt(off64_t offset, void* data, size_t size) {
    if (offset < 0) return android::UNKNOWN_ERROR;
    const ssize_t count = FileSource::readAt(offset, data, size);
    if (count < 0 && mFailure.empty()) mFailure = strerror(errno);
    return count;
}

android::status_t FileInput::getSize(off64_t* size) {
    *size = 0;
    return mSizeKnown ? FileSource::getSize(size) : android::UNKNOWN_ERROR;
}

}  // namespace kelflac
