// C++ classes over the records of MediaExtractorPluginApi.h, for plug-ins: views of what the
// service passes in, base classes of tracks and extractors, and wrap(), which makes their tables.
// All is inline, without exceptions or run-time types.
#pragma once

#include <cstdlib>
#include <new>

#include "media/MediaExtractorPluginApi.h"

namespace android {

class MediaTrackHelper;

/** A plug-in's view of a CDataSource, which it does not own. */
class DataSourceHelper {
  public:
    explicit DataSourceHelper(CDataSource* source) : mSource(source) {}
    virtual ~DataSourceHelper() = default;

    virtual ssize_t readAt(off64_t offset, void* data, size_t size) {
        return mSource->readAt(mSource->handle, offset, data, size);
    }
    virtual status_t getSize(off64_t* size) { return mSource->getSize(mSource->handle, size); }
    virtual uint32_t flags() { return mSource->flags(mSource->handle); }
    virtual bool getUri(char* uri, size_t size) {
        return mSource->getUri(mSource->handle, uri, size);
    }

  protected:
    CDataSource* mSource;
};

/** A plug-in's view of one media buffer. Owned by the group helper that gave it. */
class MediaBufferHelper {
  public:
    explicit MediaBufferHelper(CMediaBuffer* buffer) : mBuffer(buffer) {}
    virtual ~MediaBufferHelper() = default;

    virtual void release() { mBuffer->release(mBuffer->handle); }
    virtual void* data() { return mBuffer->data(mBuffer->handle); }
    virtual size_t size() { return mBuffer->size(mBuffer->handle); }
    virtual void set_range(size_t offset, size_t length) {
        mBuffer->set_range(mBuffer->handle, offset, length);
    }
    virtual AMediaFormat* meta_data() { return mBuffer->meta_data(mBuffer->handle); }

  private:
    friend class MediaBufferGroupHelper;
    friend CMediaTrack* wrap(MediaTrackHelper* track);
    CMediaBuffer* mBuffer;
    MediaBufferHelper* mNext = nullptr;
};

/**
 * A plug-in's view of a buffer group. Keeps one MediaBufferHelper for each buffer that it has seen,
 * so only the first acquisition of a buffer allocates. One thread at a time may call it. Any thread
 * may release buffers.
 */
class MediaBufferGroupHelper {
  public:
    explicit MediaBufferGroupHelper(CMediaBufferGroup* group) : mGroup(group) {}
    MediaBufferGroupHelper(const MediaBufferGroupHelper&) = delete;
    MediaBufferGroupHelper& operator=(const MediaBufferGroupHelper&) = delete;
    ~MediaBufferGroupHelper() {
        while (mHelpers != nullptr) {
            MediaBufferHelper* next = mHelpers->mNext;
            delete mHelpers;
            mHelpers = next;
        }
    }

    void add_buffer(size_t size) { mGroup->add_buffer(mGroup->handle, size); }

    /** Stores a buffer that the caller then releases or hands on. On failure stores null and
        returns the group's status, or AMEDIA_ERROR_UNKNOWN without memory for the view. */
    media_status_t acquire_buffer(MediaBufferHelper** buffer, bool non_blocking = false,
                                  size_t requested_size = 0) {
        *buffer = nullptr;
        CMediaBuffer* acquired = nullptr;
        const media_status_t status =
            mGroup->acquire_buffer(mGroup->handle, &acquired, non_blocking, requested_size);
        if (status != AMEDIA_OK) return status;
        *buffer = helperOf(acquired);
        if (*buffer == nullptr) {
            acquired->release(acquired->handle);
            return AMEDIA_ERROR_UNKNOWN;
        }
        return AMEDIA_OK;
    }

  private:
    MediaBufferHelper* helperOf(CMediaBuffer* buffer) {
        for (MediaBufferHelper* known = mHelpers; known != nullptr; known = known->mNext) {
            if (known->mBuffer == buffer) return known;
        }
        MediaBufferHelper* made = new (std::nothrow) MediaBufferHelper(buffer);
        if (made == nullptr) return nullptr;
        made->mNext = mHelpers;
        mHelpers = made;
        return made;
    }

    CMediaBufferGroup* mGroup;
    MediaBufferHelper* mHelpers = nullptr;
};

/** Base class of tracks. */
class MediaTrackHelper {
  public:
    MediaTrackHelper() = default;
    MediaTrackHelper(const MediaTrackHelper&) = delete;
    MediaTrackHelper& operator=(const MediaTrackHelper&) = delete;
    virtual ~MediaTrackHelper() { delete mBufferGroup; }

    /** Whether a read seeks first, and to where. */
    class ReadOptions {
      public:
        enum SeekMode : int32_t {
            SEEK_PREVIOUS_SYNC = 0,
            SEEK_NEXT_SYNC = 1,
            SEEK_CLOSEST_SYNC = 2,
            SEEK_CLOSEST = 3,
            SEEK_FRAME_INDEX = 4,
        };

        ReadOptions(uint32_t options, int64_t seek_us) : mOptions(options), mSeekUs(seek_us) {}

        /** Stores the time in microseconds and the mode, and returns true, when a seek is asked
         * for. */
        bool getSeekTo(int64_t* time_us, SeekMode* mode) const {
            if ((mOptions & CMediaTrackReadOptions::SEEK) == 0) return false;
            constexpr uint32_t kModeMask = 7;
            *time_us = mSeekUs;
            *mode = static_cast<SeekMode>(mOptions & kModeMask);
            return true;
        }

      private:
        uint32_t mOptions;
        int64_t mSeekUs;
    };

    /** Called after mBufferGroup is set. */
    virtual media_status_t start() = 0;
    virtual media_status_t stop() = 0;
    virtual media_status_t getFormat(AMediaFormat* format) = 0;
    /** Stores the next buffer, which the caller then releases; null on failure. `options` may be
        null. */
    virtual media_status_t read(MediaBufferHelper** buffer,
                                const ReadOptions* options = nullptr) = 0;
    virtual bool supportsNonBlockingRead() { return false; }
    virtual media_status_t getSyncFrameTime(int64_t /*time_us*/, int64_t* /*sync_us*/) {
        return AMEDIA_ERROR_UNSUPPORTED;
    }
    virtual media_status_t setSlowFastInfo(AMediaFormat* /*info*/) { return AMEDIA_OK; }

  protected:
    friend CMediaTrack* wrap(MediaTrackHelper* track);
    MediaBufferGroupHelper* mBufferGroup = nullptr;  ///< Owned; null until a start made it.
};

/** Base class of extractors. */
class MediaExtractorPluginHelper {
  public:
    MediaExtractorPluginHelper() = default;
    MediaExtractorPluginHelper(const MediaExtractorPluginHelper&) = delete;
    MediaExtractorPluginHelper& operator=(const MediaExtractorPluginHelper&) = delete;
    virtual ~MediaExtractorPluginHelper() = default;

    enum Flags { CAN_SEEK_BACKWARD = 1, CAN_SEEK_FORWARD = 2, CAN_PAUSE = 4, CAN_SEEK = 8 };

    virtual size_t countTracks() = 0;
    /** Returns a new track, owned by the caller, or null. */
    virtual MediaTrackHelper* getTrack(size_t index) = 0;
    virtual media_status_t getTrackMetaData(AMediaFormat* meta, size_t index,
                                            uint32_t flags = 0) = 0;
    virtual media_status_t getMetaData(AMediaFormat* meta) = 0;
    virtual uint32_t flags() const {
        return CAN_SEEK_BACKWARD | CAN_SEEK_FORWARD | CAN_PAUSE | CAN_SEEK;
    }
    virtual media_status_t setMediaCas(const uint8_t* /*token*/, size_t /*size*/) {
        return AMEDIA_ERROR_INVALID_OPERATION;
    }
    virtual const char* name() { return "<unspecified>"; }
};

/** Makes a table for a track, and the table then owns the track. Returns null for null. Returns
    null without memory; the caller then still owns the track. */
inline CMediaTrack* wrap(MediaTrackHelper* track) {
    using Track = MediaTrackHelper;
    if (track == nullptr) return nullptr;
    auto* table = static_cast<CMediaTrack*>(malloc(sizeof(CMediaTrack)));
    if (table == nullptr) return nullptr;
    table->data = track;
    table->free = [](void* data) { delete static_cast<Track*>(data); };
    table->start = [](void* data, CMediaBufferGroup* group) -> media_status_t {
        auto* self = static_cast<Track*>(data);
        delete self->mBufferGroup;
        self->mBufferGroup = new (std::nothrow) MediaBufferGroupHelper(group);
        return self->mBufferGroup == nullptr ? AMEDIA_ERROR_UNKNOWN : self->start();
    };
    table->stop = [](void* data) { return static_cast<Track*>(data)->stop(); };
    table->getFormat = [](void* data, AMediaFormat* format) {
        return static_cast<Track*>(data)->getFormat(format);
    };
    table->read = [](void* data, CMediaBuffer** buffer, uint32_t options, int64_t seek_us) {
        const Track::ReadOptions opts(options, seek_us);
        MediaBufferHelper* got = nullptr;
        const media_status_t status = static_cast<Track*>(data)->read(&got, &opts);
        if (status == AMEDIA_OK && got != nullptr) *buffer = got->mBuffer;
        return status;
    };
    table->supportsNonBlockingRead = [](void* data) {
        return static_cast<Track*>(data)->supportsNonBlockingRead();
    };
    table->getSyncFrameTime = [](void* data, int64_t time_us, int64_t* sync_us) {
        return static_cast<Track*>(data)->getSyncFrameTime(time_us, sync_us);
    };
    table->setSlowFastInfo = [](void* data, AMediaFormat* info) {
        return static_cast<Track*>(data)->setSlowFastInfo(info);
    };
    return table;
}

/** Makes a table for an extractor, and the table then owns it. Returns null for null. Returns null
    without memory; the caller then still owns the extractor. */
inline CMediaExtractor* wrap(MediaExtractorPluginHelper* extractor) {
    using Extractor = MediaExtractorPluginHelper;
    if (extractor == nullptr) return nullptr;
    auto* table = static_cast<CMediaExtractor*>(malloc(sizeof(CMediaExtractor)));
    if (table == nullptr) return nullptr;
    table->data = extractor;
    table->free = [](void* data) { delete static_cast<Extractor*>(data); };
    table->countTracks = [](void* data) { return static_cast<Extractor*>(data)->countTracks(); };
    table->getTrack = [](void* data, size_t index) {
        MediaTrackHelper* track = static_cast<Extractor*>(data)->getTrack(index);
        CMediaTrack* wrapped = wrap(track);
        if (wrapped == nullptr) delete track;
        return wrapped;
    };
    table->getTrackMetaData = [](void* data, AMediaFormat* meta, size_t index, uint32_t flags) {
        return static_cast<Extractor*>(data)->getTrackMetaData(meta, index, flags);
    };
    table->getMetaData = [](void* data, AMediaFormat* meta) {
        return static_cast<Extractor*>(data)->getMetaData(meta);
    };
    table->flags = [](void* data) { return static_cast<Extractor*>(data)->flags(); };
    table->setMediaCas = [](void* data, const uint8_t* token, size_t size) {
        return static_cast<Extractor*>(data)->setMediaCas(token, size);
    };
    table->name = [](void* data) { return static_cast<Extractor*>(data)->name(); };
    return table;
}

}  // namespace android
