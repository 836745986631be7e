// Attacks the cost law of tests/cost/meter.h: an input that costs more is a finding. Most mutations
// repeat parts of a file. An input with a higher percentage of the law than all before is kept.
#include <algorithm>
#include <random>

#include "fuzz/faulty_source.h"
#include "tests/cost/meter.h"
#include "tools/streams/stream_builder.h"

using kelflac_streams::Cat;

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Source source(data, size, 0xFF);
    source.reads_left = INT32_MAX;  // the law stops a long search
    kelflac_test::TellMost(kelflac_test::MeterLife("the input", &source));
    return 0;
}

namespace {

/** A piece of a file that can be repeated. */
struct Part {
    size_t at, size;
    size_t comments;  ///< For a comment, the place of its block's header. Else 0.
};

uint32_t Number(const Bytes& file, size_t at, size_t count, bool is_little_endian) {
    uint32_t number = 0;
    for (size_t i = 0; i < count; ++i) {
        const size_t from = is_little_endian ? at + count - 1 - i : at + i;
        number = number << 8 | (from < file.size() ? file[from] : 0U);
    }
    return number;
}

void Write(Bytes* file, size_t at, size_t count, bool is_little_endian, size_t number) {
    for (size_t i = 0; i < count && at + i < file->size(); ++i)
        (*file)[at + i] =
            static_cast<uint8_t>(number >> 8 * (is_little_endian ? i : count - 1 - i));
}

Bytes Copy(const Bytes& file, const Part& part) {
    return {file.data() + part.at, file.data() + part.at + part.size};
}

/** Metadata blocks with their headers, comments with their lengths, all frames except the last, and
    the bytes before the marker. */
std::vector<Part> PartsOf(const Bytes& file) {
    std::vector<Part> parts;
    size_t at = std::string(file.begin(), file.end()).find("fLaC");
    if (at == std::string::npos) return parts;
    if (at > 0) parts.push_back({0, at, 0});
    bool is_last = false;
    for (at += 4; !is_last && at + 4 < file.size();) {
        is_last = (file[at] & 0x80) != 0;
        const size_t end = std::min(at + 4 + Number(file, at + 1, 3, false), file.size());
        parts.push_back({at, end - at, 0});
        size_t comment = (file[at] & 7) == 4 ? at + 12 + Number(file, at + 4, 4, true) : end;
        for (size_t size = 0; comment + 4 <= end; comment += size) {
            size = std::min(size_t{4} + Number(file, comment, 4, true), end - comment);
            parts.push_back({comment, size, at});
        }
        at = end;
    }
    for (size_t start = at; at + 1 < file.size(); ++at) {
        if (file[at] != 0xFF || (file[at + 1] & 0xFE) != 0xF8) continue;
        if (at > start) parts.push_back({start, at - start, 0});
        start = at;
    }
    return parts;
}

/** Puts bytes into a file. In a comment block, adds to its length and sets the largest count. */
void Insert(Bytes* file, const Part& where, const Bytes& bytes) {
    file->insert(file->begin() + static_cast<ptrdiff_t>(where.at), bytes.begin(), bytes.end());
    if (where.comments == 0) return;
    const size_t length_at = where.comments + 1, vendor_at = where.comments + 4;
    Write(file, length_at, 3, false, Number(*file, length_at, 3, false) + bytes.size());
    Write(file, vendor_at + 4 + Number(*file, vendor_at, 4, true), 4, true, UINT32_MAX);
}

/** Inserts many copies of one part, or of two parts, or makes a comment's value much longer. */
void Grow(Bytes* file, size_t max_size, std::minstd_rand* random) {
    const std::vector<Part> parts = PartsOf(*file);
    if (parts.empty()) return;
    const size_t room = max_size - file->size();
    const Part what = parts[(*random)() % parts.size()];
    const Part other = parts[(*random)() % parts.size()];
    if (what.comments != 0 && (*random)() % 3 == 0) {
        constexpr uint8_t kFillers[] = {'9', 'x', '/', '='};
        const Bytes more(std::min(room, size_t{1} << (*random)() % 18), kFillers[(*random)() % 4]);
        Write(file, what.at, 4, true, Number(*file, what.at, 4, true) + more.size());
        return Insert(file, {what.at + what.size, 0, what.comments}, more);
    }
    Bytes unit = Copy(*file, what);
    if ((*random)() % 4 == 0) unit = Cat({unit, Copy(*file, other)});
    const size_t times = std::min(room / unit.size(), size_t{1} << (*random)() % 16);
    Insert(file, (*random)() % 2 != 0 ? what : other, Cat(std::vector<Bytes>(times, unit)));
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned seed) {
    std::minstd_rand random(seed);
    random.discard(8);  // seeds that are near each other begin with similar numbers
    if (random() % 3 == 0) return LLVMFuzzerMutate(data, size, max_size);
    Bytes file(data, data + size);
    for (auto steps = 1 + random() % 4; steps > 0; --steps) Grow(&file, max_size, &random);
    std::copy(file.begin(), file.end(), data);
    return file.size();
}
