// Compares each call that the demuxer makes at its source after the open, and each of its answers,
// with those of a model that looks at one byte after another.
#include <gtest/gtest.h>

#include <random>

#include "tests/support/model.h"

namespace kelflac_test {

using Random = std::independent_bits_engine<std::mt19937_64, 32, uint32_t>;

/** Opens a file, reads it to its end or 700 times, then seeks and reads 25 times. Returns a line
    for each call at the source and each answer. */
template <class DEMUXER>
static Texts Life(const Bytes& file, const Hook& hook) {
    Texts log;
    DEMUXER demuxer(file, hook);
    const auto answer = [&](const testing::Message& line) {
        for (const std::string& call : demuxer.source.Lines()) log.push_back("    " + call);
        demuxer.source.calls.clear();
        log.push_back(line.GetString());
    };
    answer(testing::Message() << "open: status " << demuxer.err);
    if (demuxer.ctx == nullptr) return log;
    Random random(static_cast<uint32_t>(file.size()));
    const auto read = [&] {
        const int32_t room = random() % 8 != 0 ? 9000 : random() % 2 == 0 ? 100 : 0;
        const Frame frame = demuxer.Read(room);
        const size_t hash = std::hash<std::string>()({frame.bytes.begin(), frame.bytes.end()});
        answer(testing::Message() << "read with room for " << room << ": status " << frame.status
                                  << ", " << frame.bytes.size() << " bytes with the hash " << hash
                                  << ", time " << frame.time << " to " << frame.next_time);
        return frame.status;
    };
    for (int reads = 0; reads < 700 && read() != KELFLACFD_END; ++reads) {
    }
    for (int seeks = 0; seeks < 25; ++seeks) {
        int64_t time = (int64_t{random()} - INT32_MAX) * (1 << random() % 28), landed = -1;
        if (random() % 16 != 0) time %= demuxer.info.duration * 9 / 8 + 1;
        answer(testing::Message() << "seek to " << time << " (in 100 ns): status "
                                  << demuxer.Seek(time, &landed));
        if (read() == KELFLACFD_END || landed < 0) continue;  // `landed` has no meaning then
        answer(testing::Message() << "the seek landed on " << landed);
        if (random() % 4 == 0) demuxer.ctx->full_check_count = random() % 2 == 0 ? 0 : 2;
        read();
        read();
    }
    answer(testing::Message() << "the end");
    return log;
}

/** Frames, many of them full of 0xFF and 0xF8. With `junk` most have headers of any kind. */
static Bytes Audio(Random& random, uint32_t count, uint32_t largest, bool junk) {
    std::vector<Bytes> frames;
    for (uint32_t i = 0; i < count; ++i) {
        const uint64_t number = uint64_t{random()} << 4 >> random() % 36;
        const uint32_t block = 1 + random() % 15, rate = random() % 15;
        FrameHeader header = {number, {}, 0xFFF8, block, 0, rate, 0, random() % 11, random() % 3};
        if (!junk || random() % 4 == 0) header = {i};
        frames.push_back(FrameBytes(header, 20 + random() % largest));
        const uint32_t noise = random() % 128;
        for (auto byte = frames.back().begin() + 18; byte < frames.back().end(); ++byte) {
            const uint32_t draw = random() % 256;
            if (draw < 2 * noise) *byte = draw < noise ? 0xFF : 0xF8;
        }
    }
    return Cat(frames);
}

constexpr int64_t kToZero = INT32_MAX;  // divides each result to 0

/** In each group of `every` calls of `op`, number `first` (from 0) gives its valid result, divided
    by `by`, plus `more`. */
static Hook Spoil(std::string_view op, uint32_t every, uint32_t first, int64_t by, int64_t more) {
    return [=](Call& call) {
        if (call.op == op && static_cast<uint32_t>(call.index) % every == first)
            call.result = call.result / by + more;
    };
}

/** Compares the lives of the library and of the model over a source. */
static void Compare(const Bytes& file, const Hook& hook, const std::string& source) {
    const Texts library = Life<Demuxer>(file, hook), model = Life<Model>(file, hook);
    if (library == model) return;
    size_t line = 0;
    while (library[line] == model[line]) ++line;
    const auto around = [line](const Texts& log) {
        std::string text;  // from ten lines before the first difference to the next answer
        for (size_t i = line - std::min<size_t>(line, 10); i < log.size(); ++i) {
            text += (i == line ? "> " : "  ") + log[i] + '\n';
            if (i >= line && log[i][0] != ' ') break;
        }
        return text;
    };
    FAIL() << "A file of " << file.size() << " bytes, source: " << source << ". Calls as \"call "
           << "argument @position = result\", then their answer. > is the first difference: "
           << "later ones may follow from it.\nThe library:\n"
           << around(library) << "The model, which is right:\n"
           << around(model);
}

TEST(CallSequence, EqualsTheModels) {
    const std::tuple<const char*, const char*, int64_t, int64_t> faults[] = {
        {"no fault", "none", 1, 0},
        {"read gives a third", "read", 3, 0},
        {"read gives nothing", "read", kToZero, 0},
        {"read fails", "read", kToZero, -1},
        {"setpos fails", "setpos", kToZero, -1},
        {"getsize gives 0", "getsize", kToZero, 0},
        {"getsize gives too much", "getsize", 1, 99999},
        {"getsize gives half", "getsize", 2, 0}};
    for (uint32_t seed = 0; seed < (KELFLAC_SLOW_BUILD ? 200 : 2000); ++seed) {
        Random random(seed);
        const auto any = [&](std::initializer_list<uint32_t> values) {
            return values.begin()[random() % values.size()];
        };
        const uint32_t frames = any({1, 10, 40, 400}), largest = any({1, 20, 300, 4000});
        const uint32_t block = any({16, 192, 4096}), rate = any({0, 8000, 8000, 44100, 44100});
        const uint32_t stated = any({0, largest, largest + 20, 62, 9000});  // 62: the smallest file
        StreamBuilder stream({block, block, 0, rate, 2, 8, stated, any({0, frames}) * block});
        stream.Raw(Audio(random, frames, largest, any({0, 1}) != 0));
        Bytes file = stream.Raw(Bytes(any({0, 0, 0, 9999}), 0xFF)).Build();
        if (any({0, 1, 2, 3}) == 0) file.resize(file.size() - random() % (file.size() / 2));
        const auto& [fault, op, divisor, more] = faults[random() % std::size(faults)];
        const uint32_t every = any({1, 3, 7, 20});
        const Hook strike = Spoil(op, every, random() % every, divisor, more);
        const std::string name = "seed " + std::to_string(seed) + ", " + fault;
        ASSERT_NO_FATAL_FAILURE(Compare(file, strike, name + " in 1 of " + std::to_string(every)));
    }
}

TEST(CallSequence, EqualsTheModelsInLargerStreams) {
    const auto stream = [](uint32_t frames, uint32_t largest, bool junk = false,
                           uint64_t samples = 400 * 4096, const Bytes& tail = {}) {
        Random random(frames + largest);
        StreamBuilder out({4096, 4096, 0, 44100, 2, 16, largest + 20, samples});
        return out.Raw(Audio(random, frames, largest, junk)).Raw(tail).Build();
    };
    StreamBuilder tags({4096, 4096, 0, 44100, 2, 16, 5000, 400000});
    tags.Picture({Bytes(70000, 0xFF)}).Comments({"TITLE=" + std::string(9000, 'x'), "X=y"});
    tags.Block(kSeekTable, Bytes(18 * 300)).Block(kPadding, Bytes(30000));
    const Bytes tagged = tags.Frames(0, 97, 4000).Build();
    const std::tuple<const char*, Bytes, Hook> rows[] = {
        {"more frames than are searched for", stream(300, 180), {}},
        {"large frames", stream(200, 7980), {}},
        {"no total", stream(200, 7980, false, 0), {}},
        {"unknown size", stream(200, 7980), UnknownSize},
        {"headers of any kind", stream(200, 2980, true), {}},
        {"0xFF after the frames", stream(40, 2980, true, 40 * 4096, Bytes(60000, 0xFF)), {}},
        {"0x55 after the frames", stream(40, 19980, false, 40 * 4096, Bytes(9999, 0x55)), {}},
        {"an ID3v2 tag, a picture, comments", Cat({Id3v2(70000), tagged}), {}},
        {"the same without the tag, unknown size", tagged, UnknownSize},
        {"short reads", stream(300, 3980), Spoil("read", 7, 0, 3, 0)},
        {"refused positions", stream(300, 3980), Spoil("setpos", 2, 0, kToZero, -1)},
        {"a size that is too large", stream(300, 3980), Spoil("getsize", 1, 0, 1, 100000)}};
    for (const auto& [name, file, hook] : rows) Compare(file, hook, name);
}

}  // namespace kelflac_test
