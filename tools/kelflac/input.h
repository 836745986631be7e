// A file as the plug-in's byte source.
#pragma once

#include <string>

#include "host/data_source.h"

namespace kelflac {

/** A file. Pipes, character devices and "-" (standard input) are read once and held in memory, up
    to 64 MiB. Remembers what the plug-in can't report: a failed read. */
class FileInput : public host::FileSource {
  public:
    /** Opens or holds the file. Throws FileError when that fails. */
    FileInput(const std::string& path, bool size_known);

    ssize_t readAt(off64_t offset, void* data, size_t size) override;
    /** Fails and stores 0 without `size_known`, and for a file without a size. */
    android::status_t getSize(off64_t* size) override;

    const std::string& path() const { return mPath; }        ///< Of a file, never "-".
    const std::string& failure() const { return mFailure; }  ///< The first one, or empty.

  private:
    FileInput(bool size_known, const std::string& file);

    bool mSizeKnown;
    std::string mPath;
    std::string mFailure;
};

}  // namespace kelflac
