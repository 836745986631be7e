// The C records between the extractor service and a plug-in: tables of function pointers. Each
// function takes the table's own `handle` or `data` first. The order of the slots is the
// platform's.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include "media/NdkMediaError.h"
#include "media/NdkMediaFormat.h"
#include "utils/Errors.h"

namespace android {
extern "C" {

/** A random-access byte source. The service owns it; it outlives every extractor made on it. */
struct CDataSource {
    /** Reads up to `size` bytes at a byte offset. Returns the count, 0 at the end of the data, or a
        negative error. */
    ssize_t (*readAt)(void* handle, off64_t offset, void* data, size_t size);
    /** Stores the size in bytes. Returns OK or an error. */
    status_t (*getSize)(void* handle, off64_t* size);
    uint32_t (*flags)(void* handle);
    /** Stores the source's URI, NUL-terminated. Returns false when it has none. */
    bool (*getUri)(void* handle, char* uri, size_t size);
    void* handle;
};

/** The flags of a read's options. Bits 0 to 2 hold a seek mode of MediaTrackHelper::ReadOptions. */
enum CMediaTrackReadOptions : uint32_t {
    SEEK = 8,  ///< Reposition first.
};

/** One media buffer of a group. It is in use from acquire_buffer until `release`. */
struct CMediaBuffer {
    void* handle;
    void (*release)(void* handle);
    void* (*data)(void* handle);
    size_t (*size)(void* handle);  ///< Capacity in bytes.
    size_t (*range_offset)(void* handle);
    size_t (*range_length)(void* handle);
    /** Sets which bytes are used. `offset` + `length` is at most the capacity. */
    void (*set_range)(void* handle, size_t offset, size_t length);
    AMediaFormat* (*meta_data)(void* handle);  ///< Owned by the buffer.
};

/** The service's pool of media buffers. */
struct CMediaBufferGroup {
    void* handle;
    bool (*init)(void* handle, size_t buffers, size_t buffer_size, size_t growth_limit);
    void (*add_buffer)(void* handle, size_t size);
    /** Stores a free buffer of at least `requested_size` bytes. Waits for one unless
        `non_blocking`. Any status but AMEDIA_OK gives no buffer. */
    media_status_t (*acquire_buffer)(void* handle, CMediaBuffer** buffer, bool non_blocking,
                                     size_t requested_size);
    bool (*has_buffers)(void* handle);  ///< True when one is free.
};

/** A track. The table comes from malloc. Its owner calls `free`, then frees the table. */
struct CMediaTrack {
    void* data;
    void (*free)(void* data);
    media_status_t (*start)(void* data, CMediaBufferGroup* group);
    media_status_t (*stop)(void* data);
    media_status_t (*getFormat)(void* data, AMediaFormat* format);
    /** Stores the next buffer on AMEDIA_OK. Leaves `buffer` unchanged otherwise. */
    media_status_t (*read)(void* data, CMediaBuffer** buffer, uint32_t options, int64_t seek_us);
    bool (*supportsNonBlockingRead)(void* data);
    media_status_t (*getSyncFrameTime)(void* data, int64_t time_us, int64_t* sync_us);
    media_status_t (*setSlowFastInfo)(void* data, AMediaFormat* info);
};

/** An extractor. The table comes from malloc. Its owner calls `free`, then frees the table. */
struct CMediaExtractor {
    void* data;
    void (*free)(void* data);
    size_t (*countTracks)(void* data);
    CMediaTrack* (*getTrack)(void* data, size_t index);  ///< Owned by the caller; null on failure.
    media_status_t (*getTrackMetaData)(void* data, AMediaFormat* meta, size_t index,
                                       uint32_t flags);
    media_status_t (*getMetaData)(void* data, AMediaFormat* meta);
    uint32_t (*flags)(void* data);
    media_status_t (*setMediaCas)(void* data, const uint8_t* token, size_t size);
    const char* (*name)(void* data);
};

/** Makes an extractor on a source that the sniffer claimed. The caller owns the result. */
typedef CMediaExtractor* (*CreatorFunc)(CDataSource* source, void* meta);
/** Frees what a sniffer stored as `meta`. */
typedef void (*FreeMetaFunc)(void* meta);
/** Claims a source: stores a confidence of 0 to 1 and returns the creator. Else returns null. */
typedef CreatorFunc (*SnifferFunc)(CDataSource* source, float* confidence, void** meta,
                                   FreeMetaFunc* free_meta);

typedef struct {
    uint8_t b[16];  ///< In the order of the UUID's text.
} media_uuid_t;

/** What a plug-in's one exported function, GETEXTRACTORDEF, returns. */
struct ExtractorDef {
    uint32_t def_version;  ///< 2 or 3: the member of `u` that is valid.
    media_uuid_t extractor_uuid;
    uint32_t extractor_version;  ///< Of two plug-ins with one UUID, the newer is used.
    const char* extractor_name;
    union {
        struct {
            SnifferFunc sniff;
        } v2;
        struct {
            SnifferFunc sniff;
            const char** supported_types;  ///< File types, ended by a null pointer.
        } v3;
    } u;
};

typedef ExtractorDef (*GetExtractorDef)();

}  // extern "C"
}  // namespace android
