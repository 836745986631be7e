// A file in memory behind the demuxer's I/O callback record, which writes down every call and can
// misbehave in each way that a real source does.
#pragma once

#include <functional>
#include <map>

#include "libextractor/mfal/kelcmn_mfal.h"
#include "tools/streams/stream_builder.h"

namespace kelflac_test {

using namespace kelflac_streams;

/** One callback as it was called. */
struct Call {
    std::string op;  ///< "open", "close", "read", "getpos", "setpos" or "getsize".
    int64_t arg;     ///< Open: the mode. Read: bytes wanted. Setpos: the target. Else 0.
    long long pos;   ///< The position before the call.
    int64_t result;  ///< Read: the count. Getpos, getsize: what is stored. Else the status.
    int index;       ///< Among the calls of its kind, from 0.
};

/** As it stands a sound file: accepts any position and gives 0 bytes outside its data. A read
    scribbles over what it leaves unfilled of the buffer, as a source may, so that a reader that
    asks for more than it has room for is found out. The source is its own one handle. */
struct RecordingSource {
    explicit RecordingSource(Bytes bytes = {}) : data(std::move(bytes)) {}
    _KELCMN_MFAL Record();  ///< Zero but for the parameter and the callbacks of Call::op.
    /** The calls as lines "read 4096 @0 = 100": op, arg, position, result. `ops` names the kinds
        wanted, as in "read setpos"; empty: all. */
    std::vector<std::string> Lines(const std::string& ops = "") const;
    int64_t Note(const char* op, int64_t arg, int64_t result);  ///< Like Of, for the callbacks.
    static RecordingSource* Of(void* fp) { return static_cast<RecordingSource*>(fp); }

    Bytes data;  ///< May change between calls, and grow in the hook.
    /** Sees each call with its sound result before it takes effect, and may spoil it: fewer bytes
        or -1 for a read, -1 for an open or setpos, any size for a getsize. */
    std::function<void(Call&)> hook;
    int getsize_status = 0;
    std::vector<Call> calls;            ///< In order; may be cleared at any time.
    std::map<std::string, int> counts;  ///< Calls of each kind, the next index; may be reset.
    long long pos = 0;
};

}  // namespace kelflac_test
