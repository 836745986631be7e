// What the fuzz targets share: a source that misbehaves as its input says, and the run of an input.
// Each target is one file that defines Run.
//
// An input is a file's bytes, so that any file is an input as it stands, then a script, read
// backwards, and the script's length in one byte. A script that has run out gives zeros.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>
#include <host/data_source.h>

#undef NDEBUG  // a failed assertion makes the input a finding, in every build
#include <cassert>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/mfal/kelcmn_mfal_android_q.h"

using Bytes = std::vector<uint8_t>;

/** A file that misbehaves by its script: reads are short, empty or fail, positions are refused, the
    size is unknown, wrong or changes. Reads give the file's own and scribble over the rest. */
struct Source : host::DataSource, android::DataSourceHelper {
    enum { SHORT = 1, EMPTY, FAILING, REFUSED };  // faults, by their low three bits
    enum { SIZE_KNOWN, SIZE_UNKNOWN, SIZE_WRONG, SIZE_CHANGES };

    Source(const uint8_t* data, size_t size, uint8_t scribble_byte)
        : DataSourceHelper(slots()), script(data, size), scribble(scribble_byte) {
        const size_t script_bytes = std::min(Take(), script.remaining_bytes());
        file = script.ConsumeBytes<uint8_t>(script.remaining_bytes() - script_bytes);
        size_kind = Take(3);
        wrong_size = script.ConsumeIntegralInRange(-1, 64 << 20);
        faults.resize(Take(7));
        for (uint8_t& fault : faults) fault = static_cast<uint8_t>(Take());
        const size_t zeros = Take(0x7FFF), at = std::min(Take(0xFFFF), file.size());
        file.insert(file.begin() + static_cast<ptrdiff_t>(at), zeros, 0);
    }
    size_t Take(size_t max = 0xFF) { return script.ConsumeIntegralInRange<size_t>(0, max); }
    int64_t Take64() { return static_cast<int64_t>(script.ConsumeIntegral<uint64_t>()); }
    size_t NextFault() { return faults.empty() ? 0 : faults[calls++ % faults.size()]; }
    void Note(int64_t answer) { answers += std::to_string(answer) + " "; }

    ssize_t readAt(off64_t offset, void* to, size_t wanted) override {
        assert(wanted >= 1 && wanted <= KELFLACF_FAL_CHUNK);
        memset(to, scribble, wanted);
        const size_t fault = NextFault();
        if (fault % 8 == FAILING) return -1;
        if (fault % 8 == EMPTY || --reads_left < 0) return 0;
        if (fault % 8 == SHORT) wanted = wanted * (fault / 8) / 32;
        return host::MemorySource(file.data(), file.size()).readAt(offset, to, wanted);
    }
    android::status_t getSize(off64_t* size) override {
        const off64_t sizes[] = {static_cast<off64_t>(file.size()), 0, wrong_size};
        *size = sizes[size_kind == SIZE_CHANGES ? calls++ % 3 : size_kind];
        return *size == 0 ? android::UNKNOWN_ERROR : android::OK;
    }
    /** The bridge's record, but that positions may be refused. */
    _KELCMN_MFAL Record() {
        _KELCMN_MFAL record{kelcmn_mfal_open, kelcmn_mfal_close, kelcmn_mfal_read};
        record.getpos = kelcmn_mfal_getpos;
        record.setpos = [](void* fp, long long* to) {
            auto* source = static_cast<Source*>(static_cast<KELCMN_MFAL_HANDLE*>(fp)->source);
            return source->NextFault() % 8 == REFUSED ? -1 : kelcmn_mfal_setpos(fp, to);
        };
        record.getsize = kelcmn_mfal_getsize;
        record.open_param = &param;
        param.data_source = NextFault() % 8 == REFUSED ? nullptr : this;
        return record;
    }

    FuzzedDataProvider script;
    uint8_t scribble;
    Bytes file, faults;
    size_t size_kind = SIZE_KNOWN, calls = 0;
    int wrong_size = 0, reads_left = 10000;  // the latter cuts a long search short
    std::string answers;                     // of the code under test
    KELCMN_MFAL_PARAM param = {};
};

void Run(Source* source);  ///< What a target does with an input.

/** Runs an input twice, over sources that leave different bytes in memory. */
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Source first(data, size, 0xFF), second(data, size, 0x5A);
    for (Source* source : {&first, &second}) Run(source);
    assert(first.answers == second.answers);
    return 0;
}
