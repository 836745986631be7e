#include "tools/host/memory_source.h"

#include <algorithm>

namespace kelflac_host {

int64_t MemorySource::NoteDown(std::string_view op, int64_t arg, int64_t sound) {
    Call call{op, arg, pos, sound, counts[op]++};
    if (hook) hook(call);
    if (keeps_calls) calls.push_back(call);
    return call.result;
}

int MemorySource::Read(void* to, int wanted) {
    const auto size = static_cast<int64_t>(data.size());
    const int64_t sound = pos < 0 ? 0 : std::clamp<int64_t>(size - pos, 0, wanted);
    const int64_t count = std::min(Note("read", wanted, sound), sound);
    auto* bytes = static_cast<uint8_t*>(to);
    if (scribbles) std::fill(bytes + std::max<int64_t>(count, 0), bytes + wanted, scribble);
    if (count <= 0) return static_cast<int>(count);
    std::copy_n(data.data() + pos, count, bytes);
    pos += count;
    return static_cast<int>(count);
}

_KELCMN_MFAL MemorySource::Record() {
    _KELCMN_MFAL record{};
    record.open_param = reinterpret_cast<KELCMN_MFAL_PARAM*>(this);
    record.open = [](_KELCMN_MFAL* mfal, unsigned long mode) -> void* {
        MemorySource* source = Of(mfal->open_param);
        source->pos = 0;
        return source->Note("open", static_cast<int64_t>(mode), 0) == 0 ? source : nullptr;
    };
    record.close = [](void* fp) { Of(fp)->Note("close", 0, 0); };
    record.read = [](void* fp, void* to, int wanted) { return Of(fp)->Read(to, wanted); };
    record.getpos = [](void* fp, long long* p) {
        *p = Of(fp)->Note("getpos", 0, Of(fp)->pos);
        return 0;
    };
    record.setpos = [](void* fp, long long* p) {
        const int64_t status = Of(fp)->Note("setpos", *p, 0);
        if (status == 0) Of(fp)->pos = *p;
        return static_cast<int>(status);
    };
    record.getsize = [](void* fp, long long* p) {
        *p = Of(fp)->Note("getsize", 0, static_cast<int64_t>(Of(fp)->data.size()));
        return 0;
    };
    return record;
}

ssize_t MemorySource::readAt(off64_t offset, void* to, size_t size) {
    pos = offset;
    return Read(to, static_cast<int>(std::min<size_t>(size, INT32_MAX)));
}

android::status_t MemorySource::getSize(off64_t* size) {
    *size = Note("getsize", 0, static_cast<int64_t>(data.size()));
    return *size > 0 ? android::OK : android::UNKNOWN_ERROR;
}

std::vector<std::string> MemorySource::Lines(std::string_view ops) const {
    std::vector<std::string> lines;
    for (const Call& c : calls) {
        if (!ops.empty() && ops.find(c.op) == ops.npos) continue;
        lines.push_back(std::string(c.op) + " " + std::to_string(c.arg) + " @" +
                        std::to_string(c.pos) + " = " + std::to_string(c.result));
    }
    return lines;
}

}  // namespace kelflac_host
