// A file in memory, as the demuxer's I/O callback record and as the framework's data source. It
// records its calls. A hook can make it misbehave.
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
    long long pos;        ///< The position before the call. Of an open: 0.
    int64_t result;       ///< Read: the count. Getpos, getsize: what is stored. Else the status.
    int index;            ///< Number among the calls of one `op`, from 0.
};

/** Called with each call's valid result before the call takes effect. May change the result: fewer
    bytes or -1 for a read, -1 for an open or setpos, any number for a getpos or getsize. */
using Hook = std::function<void(Call&)>;

/** The hook of a source of unknown size. */
inline void UnknownSize(Call& call) {
    if (call.op == "getsize") call.result = 0;
}

/** The hook of a source that refuses every position. */
inline void RefusePositions(Call& call) {
    if (call.op == "setpos") call.result = -1;
}

/** The hook of a source whose read number `index`, from 0, gives `result` at most. */
inline Hook SpoilRead(int index, int64_t result) {
    return [=](Call& call) {
        if (call.op == "read" && call.index == index) call.result = result;
    };
}

/** Without a hook it is a valid file. It accepts any position and gives 0 bytes outside its data. A
    read overwrites the rest of the buffer, as a source may. So a reader that asks for too many
    bytes is noticed. The source is its own handle. */
class MemorySource : public host::DataSource {
  public:
    using Bytes = std::vector<uint8_t>;

    explicit MemorySource(Bytes bytes = {}, Hook with = {})
        : data(std::move(bytes)), hook(std::move(with)) {}

    /** The demuxer's record. Only `open_param` and the callbacks of Call::op are set. */
    _KELCMN_MFAL Record();
    /** The framework's calls, through slots(). A size of 0 means unknown. */
    ssize_t readAt(off64_t offset, void* to, size_t size) override;
    android::status_t getSize(off64_t* size) override;

    /** The calls as lines "read 4096 @0 = 100": op, arg, position, result. `ops` names the wanted
        ones, as in "read setpos". Empty: all. */
    std::vector<std::string> Lines(std::string_view ops = {}) const;

    Bytes data;  ///< May change between calls. The hook may make it longer.
    Hook hook;
    bool keeps_calls = true;  ///< False: calls are not recorded, for long or timed runs.
    bool scribbles = true;    ///< False: reads leave the rest of the buffer, for timed runs.
    uint8_t scribble = 0xA5;
    std::vector<Call> calls;                 ///< In order; may be cleared at any time.
    std::map<std::string_view, int> counts;  ///< Of each `op`, with a hook or keeps_calls.
    long long pos = 0;

  private:
    static MemorySource* Of(void* fp) { return static_cast<MemorySource*>(fp); }
    /** Returns the call's result. */
    int64_t Note(std::string_view op, int64_t arg, int64_t sound) {
        return keeps_calls || hook ? NoteDown(op, arg, sound) : sound;
    }
    int64_t NoteDown(std::string_view op, int64_t arg, int64_t sound);
    int Read(void* to, int wanted);
};

/** The first base of a class that owns its source. */
struct OwnSource {
    MemorySource source;
};

}  // namespace kelflac_host
