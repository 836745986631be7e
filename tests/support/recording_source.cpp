#include "tests/support/recording_source.h"

#include <algorithm>

namespace kelflac_test {

int64_t RecordingSource::Note(const char* op, int64_t arg, int64_t result) {
    Call call{op, arg, pos, result, counts[op]++};
    if (hook) hook(call);
    calls.push_back(call);
    return call.result;
}

static int Read(void* fp, void* buf, int wanted) {
    RecordingSource& source = *RecordingSource::Of(fp);
    const auto size = static_cast<int64_t>(source.data.size());
    const int64_t sound = source.pos < 0 ? 0 : std::clamp<int64_t>(size - source.pos, 0, wanted);
    const int64_t count = std::min(source.Note("read", wanted, sound), sound);
    std::fill_n(static_cast<uint8_t*>(buf), wanted, uint8_t{0xA5});
    if (count <= 0) return static_cast<int>(count);
    std::copy_n(source.data.data() + source.pos, count, static_cast<uint8_t*>(buf));
    source.pos += count;
    return static_cast<int>(count);
}

_KELCMN_MFAL RecordingSource::Record() {
    _KELCMN_MFAL record{};
    record.open_param = reinterpret_cast<KELCMN_MFAL_PARAM*>(this);
    record.open = [](_KELCMN_MFAL* mfal, unsigned long mode) -> void* {
        Of(mfal->open_param)->pos = 0;
        const int64_t status = Of(mfal->open_param)->Note("open", static_cast<int64_t>(mode), 0);
        return status == 0 ? mfal->open_param : nullptr;
    };
    record.close = [](void* fp) { Of(fp)->Note("close", 0, 0); };
    record.read = Read;
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
        return Of(fp)->getsize_status;
    };
    return record;
}

std::vector<std::string> RecordingSource::Lines(const std::string& ops) const {
    std::vector<std::string> lines;
    for (const Call& c : calls) {
        if (!ops.empty() && ops.find(c.op) == ops.npos) continue;
        lines.push_back(c.op + " " + std::to_string(c.arg) + " @" + std::to_string(c.pos) + " = " +
                        std::to_string(c.result));
    }
    return lines;
}

}  // namespace kelflac_test
