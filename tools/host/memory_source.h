// A file in memory for both seams: the demuxer's I/O callback record, and the framework's data
// source. It writes every call down, and can misbehave in each way that a real source does.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/data_source.h"
#include "libextractor/mfal/kelcmn_mfal.h"

namespace kelflac_host {

/** One call. The framework's readAt is a "read" at a position, its getSize a "getsize". */
struct Call {
    std::string_view op;  ///< "open", "close", "read", "getpos", "setpos" or "getsize".
    int64_t arg;          ///< Open: the mode. Read: bytes wanted. Setpos: the target. Else 0.
    long long pos;        ///< The position before the call.
    int64_t result;       ///< Read: the count. Getpos, getsize: what is stored. Else the status.
    int index;            ///< Among the calls of its kind, from 0.
};

/** Sees each call with its sound result before it takes effect, and may spoil it: fewer bytes or -1
    for a read, -1 for an open or setpos, any size for a getsize. */
using Hook = std::function<void(Call&)>;

/** The hook of a source that can't tell its size. */
inline void UnknownSize(Call& call) {
    if (call.op == "getsize") call.result = 0;
}

/** The hook of a source that refuses every position. */
inline void RefusePositions(Call& call) {
    if (call.op == "setpos") call.result = -1;
}

/** The hook of a source whose read number `index` gives `result`. */
inline Hook SpoilRead(int index, int64_t result) {
    return [=](Call& call) {
        if (call.op == "read" && call.index == index) call.result = result;
    };
}

/** As it stands a sound file: accepts any position and gives 0 bytes outside its data. A read
    scribbles over what it leaves unfilled of the buffer, as a source may, so that a reader that
    asks for more than it has room for is found out. The source is its own one handle. */
class MemorySource : public host::DataSource {
  public:
    using Bytes = std::vector<uint8_t>;

    explicit MemorySource(Bytes bytes = {}, Hook with = {})
        : data(std::move(bytes)), hook(std::move(with)) {}

    /** The demuxer's seam. Zero but for the parameter and the callbacks of Call::op. */
    _KELCMN_MFAL Record();
    /** The framework's seam, by slots(). A size of 0 is one that can't be told. */
    ssize_t readAt(off64_t offset, void* to, size_t size) override;
    android::status_t getSize(off64_t* size) override;

    /** The calls as lines "read 4096 @0 = 100": op, arg, position, result. `ops` names the kinds
        wanted, as in "read setpos"; empty: all. */
    std::vector<std::string> Lines(std::string_view ops = {}) const;

    Bytes data;  ///< May change between calls, and grow in the hook.
    Hook hook;
    bool keeps_calls = true;  ///< False: only the hook sees them. For long runs, and timed ones.
    bool scribbles = true;  ///< False: a read leaves the rest of the buffer alone. For timed runs.
    uint8_t scribble = 0xA5;
    std::vector<Call> calls;                 ///< In order; may be cleared at any time.
    std::map<std::string_view, int> counts;  ///< Calls of each kind, the next index; may be reset.
    long long pos = 0;

  private:
    static MemorySource* Of(void* fp) { return static_cast<MemorySource*>(fp); }
    /** Returns what the call is to give. */
    int64_t Note(std::string_view op, int64_t arg, int64_t sound) {
        return keeps_calls || hook ? NoteDown(op, arg, sound) : sound;
    }
    int64_t NoteDown(std::string_view op, int64_t arg, int64_t sound);
    int Read(void* to, int wanted);
};

/** A base for what owns its source, before the base that plays over it. */
struct OwnSource {
    MemorySource source;
};

}  // namespace kelflac_host
