// A source that misbehaves as a fuzz target's input says.
//
// An input is a file's bytes, a script that is read backwards, and the script's length in one byte.
// So any file is an input. After its end the script gives the lowest values.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#undef NDEBUG  // a failed assertion makes the input a finding, in every build
#include <cassert>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "tools/host/memory_source.h"

using Bytes = std::vector<uint8_t>;

/** A file that obeys its script: reads are short, empty or fail, positions and the open are
    refused, the size is unknown, wrong or changes. */
struct Source : kelflac_host::MemorySource {
    enum { SHORT = 1, EMPTY, FAILING, REFUSED };  // faults, by their low three bits
    enum { SIZE_KNOWN, SIZE_UNKNOWN, SIZE_WRONG, SIZE_CHANGES };

    Source(const uint8_t* bytes, size_t size, uint8_t scribble_byte) : script(bytes, size) {
        const size_t script_bytes = std::min(Take(), script.remaining_bytes());
        data = script.ConsumeBytes<uint8_t>(script.remaining_bytes() - script_bytes);
        size_kind = Take(3);
        wrong_size = script.ConsumeIntegralInRange(-1, 64 << 20);
        faults.resize(Take(7));
        for (uint8_t& fault : faults) fault = static_cast<uint8_t>(Take());
        const size_t zeros = Take(0x7FFF), at = std::min(Take(0xFFFF), data.size());
        data.insert(data.begin() + static_cast<ptrdiff_t>(at), zeros, 0);
        scribble = scribble_byte;
        keeps_calls = false;
        hook = [this](kelflac_host::Call& call) { Spoil(&call); };
    }
    size_t Take(size_t max = 0xFF) { return script.ConsumeIntegralInRange<size_t>(0, max); }
    int64_t Take64() { return static_cast<int64_t>(script.ConsumeIntegral<uint64_t>()); }
    void Note(int64_t answer) { answers += std::to_string(answer) + " "; }

    size_t NextFault() { return faults.empty() ? 0 : faults[struck++ % faults.size()]; }
    void Spoil(kelflac_host::Call* call) {
        if (call->op == "getsize") {
            const int64_t sizes[] = {call->result, 0, wrong_size};
            call->result = sizes[size_kind == SIZE_CHANGES ? struck++ % 3 : size_kind];
        } else if (call->op == "read") {
            assert(call->arg >= 1 && call->arg <= KELFLACF_FAL_CHUNK);
            const size_t fault = NextFault();
            const auto share = static_cast<int64_t>(fault / 8);
            if (fault % 8 == SHORT) call->result = std::min(call->result, call->arg * share / 32);
            if (fault % 8 == EMPTY || --reads_left < 0) call->result = 0;
            if (fault % 8 == FAILING) call->result = -1;
        } else if ((call->op == "setpos" || call->op == "open") && NextFault() % 8 == REFUSED) {
            call->result = -1;
        }
    }

    FuzzedDataProvider script;
    Bytes faults;
    size_t size_kind = SIZE_KNOWN, struck = 0;
    int wrong_size = 0, reads_left = 10000;  // `reads_left` ends a long search
    std::string answers;                     // of the tested code
};
