// Sends messages, for log.cpp or log_liblog.cpp, to a host's sink or to standard error. Any thread
// may call.
#pragma once

#include <cstdio>
#include <mutex>

#include "android/log.h"
#include "host/log.h"

namespace host {

/** A sink, and a lock for one call at a time. */
struct SinkPlace {
    std::mutex lock;
    LogSink sink = nullptr;
    void* opaque = nullptr;
};

inline void printLine(int prio, const char* tag, const char* text) {
    constexpr char kLetters[] = "??VDIWEF";
    const char letter = prio >= 0 && prio < ANDROID_LOG_SILENT ? kLetters[prio] : '?';
    fprintf(stderr, "%c %s: %s\n", letter, tag != nullptr ? tag : "", text);
}

/** A fatal message is always printed too: it may be the process's last. */
inline void deliver(SinkPlace* place, int prio, const char* tag, const char* text) {
    const std::lock_guard<std::mutex> held(place->lock);
    if (place->sink != nullptr) place->sink(place->opaque, prio, tag, text);
    if (place->sink == nullptr || prio == ANDROID_LOG_FATAL) printLine(prio, tag, text);
}

inline void setSink(SinkPlace* place, LogSink sink, void* opaque) {
    const std::lock_guard<std::mutex> held(place->lock);
    place->sink = sink;
    place->opaque = opaque;
}

}  // namespace host
