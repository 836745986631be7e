#include "input.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace kelflac {
namespace {

struct Held {
    std::string path;  ///< A file to open in standard input's place.
    std::string failure;
};

Held holdStandardInput() {
    constexpr size_t kMaxBytes = size_t{64} << 20;
    const int memory = memfd_create("standard input", MFD_CLOEXEC);  // open until the program ends
    if (memory < 0) return {"", strerror(errno)};
    std::vector<char> chunk(size_t{64} << 10);
    for (size_t total = 0; total <= kMaxBytes;) {
        const ssize_t count = read(STDIN_FILENO, chunk.data(), chunk.size());
        if (count == 0) return {"/proc/self/fd/" + std::to_string(memory), ""};
        if (count < 0 || write(memory, chunk.data(), static_cast<size_t>(count)) != count) {
            return {"", strerror(errno)};
        }
        total += static_cast<size_t>(count);
    }
    return {"", "standard input holds more than 64 MiB"};
}

const Held& heldStandardInput() {
    static const Held held = holdStandardInput();
    return held;
}

}  // namespace

FileInput::FileInput(const std::string& path, bool size_known)
    : FileSource(path == "-" ? heldStandardInput().path.c_str() : path.c_str()),
      mSizeKnown(size_known) {
    if (!isOpen()) mFailure = strerror(errno);
    if (path == "-" && !heldStandardInput().failure.empty()) mFailure = heldStandardInput().failure;
}

ssize_t FileInput::readAt(off64_t offset, void* data, size_t size) {
    if (offset < 0) return android::UNKNOWN_ERROR;
    const ssize_t count = FileSource::readAt(offset, data, size);
    if (count < 0 && mFailure.empty()) mFailure = strerror(errno);
    if (count > 0) mPosition = offset + count;
    return count;
}

android::status_t FileInput::getSize(off64_t* size) {
    *size = 0;
    return mSizeKnown ? FileSource::getSize(size) : android::UNKNOWN_ERROR;
}

}  // namespace kelflac
