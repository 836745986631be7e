// The cost law, attacked: an input that costs more than the law allows is a finding. Inputs grow by
// what a file is made of, repeated, and those that cost more a byte than any before are kept.
#include <algorithm>
#include <random>

#include "fuzz/faulty_source.h"
#include "tests/cost/meter.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Source source(data, size, 0xFF);
    source.reads_left = INT32_MAX;  // the law itself cuts a long search short
    kelflac_test::TellFuzzer(kelflac_test::MeterLife("the input", &source));
    return 0;
}

namespace {

/** A piece of a file that can be repeated. */
struct Part {
    size_t at, size;
    size_t comments;  ///< Of a comment: where its block's header is. Else 0.
};

uint32_t Number(const Bytes& file, size_t at, int count, bool is_big_endian) {
    uint32_t number = 0;
    for (int i = 0; i < count; ++i) {
        const size_t from = at + static_cast<size_t>(is_big_endian ? i : count - 1 - i);
        number = number << 8 | (from < file.size() ? file[from] : 0U);
    }
    return number;
}

void AddComments(const Bytes& file, const Part& block, std::vector<Part>* parts) {
    const size_t end = block.at + block.size;
    size_t at = block.at + 8 + Number(file, block.at + 4, 4, false) + 4;
    while (at + 4 <= end) {
        const size_t size = std::min<size_t>(4 + Number(file, at, 4, false), end - at);
        parts->push_back({at, size, block.at});
        at += size;
    }
}

/** Metadata blocks with their headers, comments with their lengths, frames, ID3v2 tags. */
std::vector<Part> PartsOf(const Bytes& file) {
    const std::string marker = "fLaC";
    std::vector<Part> parts;
    auto at = static_cast<size_t>(
        std::search(file.begin(), file.end(), marker.begin(), marker.end()) - file.begin());
    if (at > 0) parts.push_back({0, at, 0});
    bool is_last = false;
    for (at += marker.size(); !is_last && at + 4 < file.size(); at += parts.back().size) {
        is_last = (file[at] & 0x80) != 0;
        const size_t length = 4 + Number(file, at + 1, 3, true);
        const Part block = {at, std::min(length, file.size() - at), 0};
        if ((file[at] & 7) == 4) AddComments(file, block, &parts);
        parts.push_back(block);
    }
    for (size_t start = at; at + 1 < file.size(); ++at) {
        if (file[at] != 0xFF || (file[at + 1] & 0xFE) != 0xF8) continue;
        if (at > start) parts.push_back({start, at - start, 0});
        start = at;
    }
    return parts;
}

/** Makes the block that begins at `at` longer, and takes its count of comments away. */
void Lengthen(Bytes* file, size_t at, size_t more) {
    const size_t length = Number(*file, at + 1, 3, true) + more;
    for (size_t i = 0; i < 3; ++i)
        (*file)[at + 1 + i] = static_cast<uint8_t>(length >> (16 - 8 * i));
    const size_t count = at + 8 + Number(*file, at + 4, 4, false);
    for (size_t i = 0; i < 4 && count + i < file->size(); ++i) (*file)[count + i] = 0xFF;
}

/** A part, or two in turn, over and over; between others, or where it was. */
void RepeatAPart(Bytes* file, size_t max_size, std::minstd_rand* random) {
    const std::vector<Part> parts = PartsOf(*file);
    if (parts.empty()) return;
    const auto pick = [&] { return parts[(*random)() % parts.size()]; };
    const auto bytes_of = [&](const Part& part) {
        const auto from = file->begin() + static_cast<ptrdiff_t>(part.at);
        return Bytes(from, from + static_cast<ptrdiff_t>(part.size));
    };
    const Part what = pick(), where = (*random)() % 2 != 0 ? what : pick();
    Bytes unit = bytes_of(what);
    const Bytes other = bytes_of(pick());
    if ((*random)() % 4 == 0) unit.insert(unit.end(), other.begin(), other.end());
    const size_t room = (max_size - file->size()) / unit.size();
    Bytes copies;
    for (size_t n = std::min(room, size_t{1} << (*random)() % 16); n > 0; --n)
        copies.insert(copies.end(), unit.begin(), unit.end());
    file->insert(file->begin() + static_cast<ptrdiff_t>(where.at), copies.begin(), copies.end());
    if (where.comments != 0) Lengthen(file, where.comments, copies.size());
}

/** A comment's value gets many more bytes of one kind. */
void GrowAComment(Bytes* file, size_t max_size, std::minstd_rand* random) {
    for (const Part& part : PartsOf(*file)) {
        if (part.comments == 0 || (*random)() % 4 != 0) continue;
        const size_t room = max_size - file->size();
        const size_t more = std::min(room, size_t{1} << (*random)() % 18);
        const auto end = file->begin() + static_cast<ptrdiff_t>(part.at + part.size);
        constexpr uint8_t kFillers[] = {'9', 'x', '/', '='};
        file->insert(end, more, kFillers[(*random)() % 4]);
        const size_t length = Number(*file, part.at, 4, false) + more;
        for (size_t i = 0; i < 4; ++i)
            (*file)[part.at + i] = static_cast<uint8_t>(length >> (8 * i));
        return Lengthen(file, part.comments, more);
    }
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned seed) {
    std::minstd_rand random(seed);
    random.discard(8);  // seeds that are near to each other begin alike
    if (random() % 3 == 0) return LLVMFuzzerMutate(data, size, max_size);
    Bytes file(data, data + size);
    for (int steps = 1 + static_cast<int>(random() % 3); steps > 0; --steps) {
        if (random() % 4 == 0) {
            GrowAComment(&file, max_size, &random);
        } else {
            RepeatAPart(&file, max_size, &random);
        }
    }
    std::copy(file.begin(), file.end(), data);
    return file.size();
}
