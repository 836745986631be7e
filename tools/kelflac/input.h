// A file as the plug-in's byte source.
#pragma once

#include <string>

#include "host/data_source.h"

namespace kelflac {

/** A file. Pipes, and standard input for "-", are read to their end the first time and held in
    memory, up to 64 MiB. Remembers what the plug-in can't report: a failed read. */
class FileInput : public host::FileSource {
  public:
    /** Opens the file. Throws FileError when it can't be opened. */
    FileInput(const std::string& path, bool size_known);

    ssize_t readAt(off64_t offset, void* data, size_t size) override;
    /** Fails and stores 0 when the size is not to be known. */
    android::status_t getSize(off64_t* size) override;

    const std::string& path() const { return mPath; }        ///< Of a file with the bytes.
    const std::string& failure() const { return mFailure; }  ///< The first one, or empty.

  private:
    FileInput(bool size_known, const std::string& file);

    bool mSizeKnown;
    std::string mPath;
    std::string mFailure;
};

}  // namespace kelflac
