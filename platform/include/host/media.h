// Buffer groups for a host that plays the framework.
#pragma once

#include "media/MediaExtractorPluginApi.h"

namespace host {
#pragma GCC visibility push(default)

/**
 * Makes an empty buffer group, owned by the caller; null without memory.
 *
 * acquire_buffer waits while every buffer that is large enough is in use (non-blocking: it returns
 * AMEDIA_ERROR_WOULD_BLOCK). It returns AMEDIA_ERROR_UNKNOWN when the group has no buffer that is
 * large enough. A buffer comes with its full range and empty meta data. add_buffer does nothing
 * without memory. A group never grows by itself. Releasing a buffer that is not in use, and a range
 * beyond the capacity, end the process.
 *
 * Any thread may call the group's functions and release its buffers. Only the thread that acquired
 * a buffer may call its other functions.
 */
android::CMediaBufferGroup* newBufferGroup();

/** Frees a group and its buffers. Meanwhile other threads may release its buffers, but may not call
    the group. Returns false and frees nothing while a buffer is in use. Null is allowed. */
bool deleteBufferGroup(android::CMediaBufferGroup* group);

#pragma GCC visibility pop
}  // namespace host
