// Byte sources for a host that plays the framework.
#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "media/MediaExtractorPluginApi.h"

namespace host {

/** A byte source with its CDataSource. Derived classes give the bytes and the size. */
class DataSource {
  public:
    DataSource()
        : mSlots{[](void* handle, off64_t offset, void* data, size_t size) {
                     return static_cast<DataSource*>(handle)->readAt(offset, data, size);
                 },
                 [](void* handle, off64_t* size) {
                     return static_cast<DataSource*>(handle)->getSize(size);
                 },
                 [](void*) { return uint32_t{0}; }, [](void*, char*, size_t) { return false; },
                 this} {}
    DataSource(const DataSource&) = delete;
    DataSource& operator=(const DataSource&) = delete;
    virtual ~DataSource() = default;

    /** The record to pass to a plug-in. Valid as long as this object. */
    android::CDataSource* slots() { return &mSlots; }

    /** See CDataSource. */
    virtual ssize_t readAt(off64_t offset, void* data, size_t size) = 0;
    virtual android::status_t getSize(off64_t* size) = 0;

  private:
    android::CDataSource mSlots;
};

/** A file, opened for reading at construction. If that failed, readAt and getSize fail. */
class FileSource : public DataSource {
  public:
    explicit FileSource(const char* path) : mFd(open64(path, O_RDONLY | O_CLOEXEC)) {}
    ~FileSource() override {
        if (mFd >= 0) close(mFd);
    }

    bool isOpen() const { return mFd >= 0; }
    ssize_t readAt(off64_t offset, void* data, size_t size) override {
        return pread64(mFd, data, size, offset);
    }
    /** Stores the size of a regular file. Fails and stores 0 for anything else. */
    android::status_t getSize(off64_t* size) override {
        struct stat64 about;
        const bool known = fstat64(mFd, &about) == 0 && S_ISREG(about.st_mode);
        *size = known ? about.st_size : 0;
        return known ? android::OK : android::UNKNOWN_ERROR;
    }

  private:
    int mFd;
};

}  // namespace host
