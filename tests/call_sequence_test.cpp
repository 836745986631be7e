// Compares each call that the demuxer makes at its source, and each of its answers, with those of a
// model that looks at one byte after another.
#include <gtest/gtest.h>

#include <random>

#include "tests/support/model.h"

namespace kelflac_test {

using Random = std::independent_bits_engine<std::mt19937_64, 32, uint32_t>;

/** Opens a file, reads it to its end, then seeks and reads several times. Returns a line for each
    call at the source and each answer. */
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
        if (read() == KELFLACFD_END || landed < 0) continue;  // the time has no meaning then
        answer(testing::Message() << "the seek landed on " << landed);
        if (random() % 4 == 0) demuxer.ctx->full_check_count = random() % 2 == 0 ? 0 : 2;
        read();
        read();
    }
    answer(testing::Message() << "the end");
    return log;
}

/** Frames full of 0xFF and bytes like headers. With `junk` most begin with one of any kind. */
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

TEST(CallSequence, EqualsTheModels) {
    constexpr int64_t kToZero = INT32_MAX;
    const struct {
        const char *name, *op;
        int64_t divisor, more;  // such a call returns its valid result / divisor + more
    } faults[] = {{"none", "none", 1, 0},
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
        const uint32_t one_small_file = 62;  // bytes of a file with one of the shortest frames
        const uint32_t stated = any({0, largest, largest + 20, one_small_file, 9000});
        StreamBuilder stream({block, block, 0, rate, 2, 8, stated, any({0, frames}) * block});
        stream.Raw(Audio(random, frames, largest, any({0, 1}) != 0));
        Bytes file = stream.Raw(Bytes(any({0, 0, 0, 9999}), 0xFF)).Build();
        if (any({0, 1, 2, 3}) == 0) file.resize(file.size() - random() % (file.size() / 2));
        const auto fault = faults[random() % std::size(faults)];
        const uint32_t every = any({1, 3, 7, 20}), first = random() % every;
        const auto strike = [=](Call& call) {
            if (call.op == fault.op && static_cast<uint32_t>(call.index) % every == first)
                call.result = call.result / fault.divisor + fault.more;
        };
        const Texts library = Life<Demuxer>(file, strike), model = Life<Model>(file, strike);
        if (library == model) continue;
        size_t line = 0;
        while (library[line] == model[line]) ++line;
        // From ten lines before the first difference to the next answer.
        const auto around = [line](const Texts& log) {
            std::string text;
            for (size_t i = line - std::min<size_t>(line, 10); i < log.size(); ++i) {
                text += (i == line ? "> " : "  ") + log[i] + '\n';
                if (i >= line && log[i][0] != ' ') break;
            }
            return text;
        };
        FAIL() << "Seed " << seed << ": a file of " << file.size() << " bytes. The fault of the "
               << "source, in one call of " << every << ": " << fault.name << ".\n"
               << "A line is a call of the source, \"call argument @position before = result\". "
               << "After an answer's calls comes the answer.\n> is the first difference: later "
               << "ones may follow from it. Earlier lines are equal.\nThe library:\n"
               << around(library) << "The model, which is right:\n"
               << around(model);
    }
}

}  // namespace kelflac_test
