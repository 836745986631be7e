// What a host does with the messages of android/log.h. Any thread may call.
#pragma once

namespace host {
#pragma GCC visibility push(default)

/** Drops messages below a priority of android_LogPriority. The default, ANDROID_LOG_SILENT, drops
    fatal ones too. __android_log_assert always prints. */
void setLogMinPriority(int prio);

/** Receives one message: its priority, its tag (null for none) and its text. Calls come one at a
    time, from the logging thread. A sink must not log and must not call setLogSink. */
using LogSink = void (*)(void* opaque, int prio, const char* tag, const char* text);

/** Sends messages to `sink` instead of standard error, fatal ones to both. Null brings standard
    error back. After the return the old sink is not called any more. */
void setLogSink(LogSink sink, void* opaque);

#pragma GCC visibility pop
}  // namespace host
