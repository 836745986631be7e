// The platform's log. Any thread may log.
#pragma once

typedef enum android_LogPriority {
    ANDROID_LOG_UNKNOWN = 0,
    ANDROID_LOG_DEFAULT,
    ANDROID_LOG_VERBOSE,
    ANDROID_LOG_DEBUG,
    ANDROID_LOG_INFO,
    ANDROID_LOG_WARN,
    ANDROID_LOG_ERROR,
    ANDROID_LOG_FATAL,
    ANDROID_LOG_SILENT,
} android_LogPriority;

extern "C" {
#pragma GCC visibility push(default)

/** Logs one formatted message, cut to 1023 bytes. `tag` may be null. Returns 1, or 0 when nothing
    was logged. */
int __android_log_print(int prio, const char* tag, const char* fmt, ...)
    __attribute__((__format__(printf, 3, 4)));

/** Prints a message, logs it as fatal and ends the process with SIGABRT. `cond` is the text of the
    condition that failed; the message contains it if `fmt` is null. All arguments may be null. */
void __android_log_assert(const char* cond, const char* tag, const char* fmt, ...)
    __attribute__((__noreturn__, __format__(printf, 3, 4)));

#pragma GCC visibility pop
}
