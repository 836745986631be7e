#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>

#include "host/media.h"

using android::CMediaBuffer;
using android::CMediaBufferGroup;

namespace {

struct Group;

struct Buffer {
    ~Buffer() {
        free(data);
        AMediaFormat_delete(meta);
    }

    CMediaBuffer slots = {};
    Group* group = nullptr;
    void* data = nullptr;  ///< From malloc, without spare bytes: sanitizers see overruns.
    AMediaFormat* meta = nullptr;
    size_t capacity = 0;
    size_t offset = 0;
    size_t length = 0;
    bool out = false;  ///< Guarded by the group's lock.
    Buffer* next = nullptr;
};

struct Group {
    CMediaBufferGroup slots = {};
    std::mutex lock;
    std::condition_variable freed;
    Buffer* first = nullptr;  ///< The list only grows.
};

[[noreturn]] void fail(const char* what) {
    fprintf(stderr, "media buffer: %s\n", what);
    abort();
}

Buffer* bufferOf(void* handle) {
    return static_cast<Buffer*>(handle);
}

void release(void* handle) {
    Buffer* buffer = bufferOf(handle);
    Group* group = buffer->group;
    const std::lock_guard<std::mutex> held(group->lock);
    if (!buffer->out) fail("released, but not acquired");
    buffer->out = false;
    // notify_one would wake one waiter, perhaps one that needs a larger buffer; the others would
    // sleep on. The lock is still held: without it another thread could delete the group first.
    group->freed.notify_all();
}

void setRange(void* handle, size_t offset, size_t length) {
    Buffer* buffer = bufferOf(handle);
    if (offset > buffer->capacity || length > buffer->capacity - offset) fail("range too long");
    buffer->offset = offset;
    buffer->length = length;
}

constexpr CMediaBuffer kBufferSlots = {
    nullptr,
    release,
    [](void* handle) { return bufferOf(handle)->data; },
    [](void* handle) { return bufferOf(handle)->capacity; },
    [](void* handle) { return bufferOf(handle)->offset; },
    [](void* handle) { return bufferOf(handle)->length; },
    setRange,
    [](void* handle) { return bufferOf(handle)->meta; },
};

bool addBuffer(Group* group, size_t size) {
    Buffer* buffer = new (std::nothrow) Buffer;
    if (buffer == nullptr) return false;
    buffer->slots = kBufferSlots;
    buffer->slots.handle = buffer;
    buffer->group = group;
    buffer->data = malloc(size > 0 ? size : 1);
    buffer->capacity = size;
    buffer->meta = AMediaFormat_new();
    if (buffer->data == nullptr || buffer->meta == nullptr) {
        delete buffer;
        return false;
    }
    const std::lock_guard<std::mutex> held(group->lock);
    Buffer** end = &group->first;
    while (*end != nullptr) end = &(*end)->next;
    *end = buffer;
    group->freed.notify_all();
    return true;
}

Group* groupOf(void* handle) {
    return static_cast<Group*>(handle);
}

bool init(void* handle, size_t buffers, size_t buffer_size, size_t /*growth_limit*/) {
    for (; buffers > 0; --buffers) {
        if (!addBuffer(groupOf(handle), buffer_size)) return false;
    }
    return true;
}

media_status_t acquire(void* handle, CMediaBuffer** out, bool non_blocking, size_t requested) {
    Group* group = groupOf(handle);
    std::unique_lock<std::mutex> held(group->lock);
    for (;;) {
        bool any_fits = false;
        for (Buffer* buffer = group->first; buffer != nullptr; buffer = buffer->next) {
            if (buffer->capacity < requested) continue;
            any_fits = true;
            if (buffer->out) continue;
            buffer->out = true;
            setRange(buffer, 0, buffer->capacity);
            AMediaFormat_clear(buffer->meta);
            *out = &buffer->slots;
            return AMEDIA_OK;
        }
        if (!any_fits) return AMEDIA_ERROR_UNKNOWN;
        if (non_blocking) return AMEDIA_ERROR_WOULD_BLOCK;
        group->freed.wait(held);
    }
}

bool hasBuffers(void* handle) {
    Group* group = groupOf(handle);
    const std::lock_guard<std::mutex> held(group->lock);
    for (Buffer* buffer = group->first; buffer != nullptr; buffer = buffer->next) {
        if (!buffer->out) return true;
    }
    return false;
}

}  // namespace

CMediaBufferGroup* host::newBufferGroup() {
    Group* group = new (std::nothrow) Group;
    if (group == nullptr) return nullptr;
    group->slots = {group, init,
                    [](void* handle, size_t size) { addBuffer(groupOf(handle), size); }, acquire,
                    hasBuffers};
    return &group->slots;
}

bool host::deleteBufferGroup(CMediaBufferGroup* slots) {
    if (slots == nullptr) return true;
    Group* group = groupOf(slots->handle);
    {
        const std::lock_guard<std::mutex> held(group->lock);
        for (Buffer* buffer = group->first; buffer != nullptr; buffer = buffer->next) {
            if (buffer->out) return false;
        }
    }
    while (group->first != nullptr) {
        Buffer* next = group->first->next;
        delete group->first;
        group->first = next;
    }
    delete group;
    return true;
}
