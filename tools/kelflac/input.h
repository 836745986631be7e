// A file as the plug-in's byte source.
#pragma once

#include <string>

#include "host/data_source.h"

namespace kelflac {

/** A file, or standard input for "-", which is read to its end the first time and held in memory,
    up to 64 MiB. Remembers what the plug-in can't report: a failed read. */
class FileInput : public host::FileSource {
  public:
    /** Opens the file; one that can't be opened fails every call. */
    FileInput(const std::string& path, bool size_known);

    ssize_t readAt(off64_t offset, void* data, size_t size) override;
    /** Fails and stores 0 when the size is not to be known. */
    android::status_t getSize(off64_t* size) override;

    const std::string& failure() const { return mFailure; }  ///< The first one, or empty.
    off64_t position() const { return mPosition; }           ///< Where the latest read ended.

  private:
    bool mSizeKnown;
    std::string mFailure;
    off64_t mPosition = 0;
};

}  // namespace kelflac
