// host/log.h with the platform's own liblog, instead of log.cpp.
#include "log_sink.h"

namespace {

host::SinkPlace gSink;

/** A message without a tag gets liblog's default tag, which is empty here. */
void receive(const __android_logger_data* about, const char* text) {
    const bool has_tag = about->tag != nullptr && about->tag[0] != '\0';
    host::deliver(&gSink, about->priority, has_tag ? about->tag : nullptr, text);
}

__attribute__((constructor)) void install() {
    __android_log_set_default_tag("");
    __android_log_set_logger(receive);
    __android_log_set_minimum_priority(ANDROID_LOG_SILENT);
}

}  // namespace

void host::setLogMinPriority(int prio) {
    __android_log_set_minimum_priority(prio);
}

void host::setLogSink(LogSink sink, void* opaque) {
    setSink(&gSink, sink, opaque);
}
