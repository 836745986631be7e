#include "android/log.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "host/log.h"

namespace {

constexpr size_t kTextBytes = 1024;  // A device's log has the same limit, with the NUL.

std::atomic<int> gMinPriority{ANDROID_LOG_SILENT};
std::mutex gSinkLock;  // Guards the two below and keeps a sink's calls apart.
host::LogSink gSink = nullptr;
void* gSinkOpaque = nullptr;

void printLine(int prio, const char* tag, const char* text) {
    constexpr char kLetters[] = "??VDIWEF";
    const char letter = prio >= 0 && prio < ANDROID_LOG_SILENT ? kLetters[prio] : '?';
    fprintf(stderr, "%c %s: %s\n", letter, tag != nullptr ? tag : "", text);
}

}  // namespace

int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    if (prio < gMinPriority.load(std::memory_order_relaxed)) return -EPERM;
    char text[kTextBytes] = "";
    va_list args;
    va_start(args, fmt);
    vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);

    const std::lock_guard<std::mutex> held(gSinkLock);
    if (gSink != nullptr) {
        gSink(gSinkOpaque, prio, tag, text);
    } else {
        printLine(prio, tag, text);
    }
    return 1;
}

void __android_log_assert(const char* cond, const char* tag, const char* fmt, ...) {
    char text[kTextBytes] = "Assertion failed";
    if (fmt != nullptr) {
        va_list args;
        va_start(args, fmt);
        vsnprintf(text, sizeof(text), fmt, args);
        va_end(args);
    }
    const std::lock_guard<std::mutex> held(gSinkLock);
    if (gSink != nullptr) gSink(gSinkOpaque, ANDROID_LOG_FATAL, tag, text);
    printLine(ANDROID_LOG_FATAL, tag, text);
    fprintf(stderr, "condition: %s\n", cond != nullptr ? cond : "");
    abort();
}

void host::setLogMinPriority(int prio) {
    gMinPriority.store(prio, std::memory_order_relaxed);
}

void host::setLogSink(LogSink sink, void* opaque) {
    const std::lock_guard<std::mutex> held(gSinkLock);
    gSink = sink;
    gSinkOpaque = opaque;
}
