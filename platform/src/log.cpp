#include <atomic>
#include <cstdarg>
#include <cstdlib>

#include "log_sink.h"

namespace {

constexpr size_t kTextBytes = 1024;  // A device's log has the same limit, with the NUL.

std::atomic<int> gMinPriority{ANDROID_LOG_SILENT};
host::SinkPlace gSink;

}  // namespace

int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    if (prio < gMinPriority.load(std::memory_order_relaxed)) return 0;
    char text[kTextBytes] = "";
    va_list args;
    va_start(args, fmt);
    vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);
    host::deliver(&gSink, prio, tag, text);
    return 1;
}

void __android_log_assert(const char* cond, const char* tag, const char* fmt, ...) {
    char text[kTextBytes] = "Unspecified assertion failed";
    if (fmt != nullptr) {
        va_list args;
        va_start(args, fmt);
        vsnprintf(text, sizeof(text), fmt, args);
        va_end(args);
    } else if (cond != nullptr) {
        snprintf(text, sizeof(text), "Assertion failed: %s", cond);
    }
    fprintf(stderr, "%s\n", text);
    __android_log_print(ANDROID_LOG_FATAL, tag, "%s", text);
    fprintf(stderr, "condition: %s\n", cond != nullptr ? cond : "");
    abort();
}

void host::setLogMinPriority(int prio) {
    gMinPriority.store(prio, std::memory_order_relaxed);
}

void host::setLogSink(LogSink sink, void* opaque) {
    setSink(&gSink, sink, opaque);
}
