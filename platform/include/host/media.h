// Buffer groups for a host that plays the framework.
#pragma once

#include "media/MediaExtractorPluginApi.h"

namespace host {
#pragma GCC visibility push(default)

/**
 * Makes an empty buffer group, owned by the caller; null without memory.
 *
 * acquire_buffer waits for a release when every buffer that is large enough is out (non-blocking:
 * AMEDIA_ERROR_WOULD_BLOCK) and says AMEDIA_ERROR_UNKNOWN when the group has none that large, so
 * an empty group never blocks. A buffer comes with its full range and empty meta data. add_buffer
 * does nothing without memory, and groups never grow by themselves. A release of a buffer that is
 * not out and a range beyond the capacity are fatal.
 *
 * Any thread may call the group's functions and release its buffers. A buffer's other functions
 * are for the thread that has acquired it.
 */
android::CMediaBufferGroup* newBufferGroup();

/** Frees a group and its buffers, with no call on it under way. Returns false, with nothing freed,
    while a buffer is out. Null is fine. */
bool deleteBufferGroup(android::CMediaBufferGroup* group);

#pragma GCC visibility pop
}  // namespace host
