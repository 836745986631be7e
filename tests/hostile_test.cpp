// Streams that are wrong on purpose: what comes of each, and what it costs.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "tests/support/life.h"
#include "tests/support/plugin_host.h"
#include "tools/streams/hostile_streams.h"

namespace kelflac_test {

static std::string FileText(const std::filesystem::path& path) {
    std::ostringstream out;
    out << std::ifstream(path, std::ios::binary).rdbuf();
    return out.str();
}

/** What a demuxer makes of a file, and what with its size unknown. Other lives are led as well. */
static std::pair<Account, Account> Lives(const Bytes& file) {
    DemuxerLife(file, [](Call& call) {
        if (call.op == "setpos" && call.arg < 0) call.result = -1;
    });
    PluginLife(file);
    PluginLife(file, UnknownSize);
    return {DemuxerLife(file).account, DemuxerLife(file, UnknownSize).account};
}

/** A line of the table. The last cell and empty ones before it take no room. */
static std::string Line(const Texts& cells) {
    constexpr int kWidths[] = {51, 29, 13, 5, 15, 7, 6, 0};
    std::ostringstream out;
    for (size_t i = 0; i < cells.size(); i++)
        out << (i > 0 ? "| " : "") << std::left << std::setw(kWidths[i]) << cells[i];
    std::string line = out.str();
    return line.erase(line.find_last_not_of(" |") + 1) + "\n";
}

static std::string Table() {
    std::string table = Line({"stream", "opens?", "title", "date", "pictures", "frames", "seek",
                              "with the size unknown"});
    for (const auto& [title, streams] : HostileGroups()) {
        table += "\n# " + title + "\n";
        for (const auto& [name, bytes] : streams) {
            SCOPED_TRACE(name);
            const auto [known, unknown] = Lives(bytes);
            Texts cells = known.Cells();
            cells.insert(cells.begin(), name);
            cells.push_back(unknown.Unlike(known));
            table += Line(cells);
        }
    }
    return table;
}

/** Shows the first line that differs, and no other. */
static void ExpectLines(const std::string& got, const std::string& expected) {
    if (got == expected) return;
    const auto at = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end()).first;
    const size_t start = std::string(got.begin(), at).rfind('\n') + 1;
    const auto line = [&](const std::string& text) {
        return text.substr(start, text.find('\n', start) - start);
    };
    ADD_FAILURE() << "expected: " << line(expected) << "\n     got: " << line(got);
}

TEST(Hostile, StreamsLiveAsTheTableTells) {
    const std::string old = FileText(KELFLAC_HOSTILE_LIVES);
    const std::string got = old.substr(0, old.find("\n\n") + 2) + Table();  // below its first lines
    const char* const written = std::getenv("KELFLAC_WRITE_HOSTILE_TABLE");
    if (written != nullptr) std::ofstream(written) << got;
    ExpectLines(got, written != nullptr ? FileText(written) : old);
}

TEST(Hostile, NoOtherMarkerOpensAStream) {
    const Bytes sound = StreamBuilder{}.Frames(0, 2, 60).Build(), letters = Text("fLaCID3");
    for (size_t marker = 0; marker < 7 * 7 * 7 * 7; marker++) {
        Bytes file = sound;
        for (size_t at = 0, rest = marker; at < 4; at++, rest /= 7) file[at] = letters[rest % 7];
        EXPECT_EQ(Demuxer(file).err, file == sound ? 0 : -5);
        EXPECT_EQ(PluginLife(file).answers.empty(), file != sound);
    }
}

TEST(Hostile, AFileCutAnywhereLivesOnWhatIsLeft) {
    const std::string all = "opens, title none, date none, pictures P, frames ",
                      malformed = "refused: malformed", no_marker = "refused: no fLaC marker";
    const struct {
        size_t from;  // bytes that are left, up to the next row's
        std::string known, unknown;
    } rows[] = {{0, no_marker, no_marker},
                {4, malformed, malformed},
                {94, all + "1, seek works", malformed},
                {149, all + "0, seek fails", malformed},
                {154, all + "2, seek works", all + "1, seek fails"}};
    const Bytes sound = StreamBuilder{}.Picture({Text("P")}).Frames(0, 2, 60).Build();
    const auto* row = rows;
    for (size_t size = 0; size <= sound.size(); size++) {
        SCOPED_TRACE(size);
        if (row + 1 < std::end(rows) && size == row[1].from) row++;
        const auto [known, unknown] = Lives({sound.data(), sound.data() + size});
        EXPECT_EQ(known.Unlike({}), row->known);
        EXPECT_EQ(unknown.Unlike({}), row->unknown);
    }
}

extern "C" __attribute__((weak)) void __asan_init();  // whose quarantine comes and goes

TEST(Hostile, ASeekThatCreepsEndsAfter4GiB) {
    // The first probe meets frames whose numbers creep towards the target's and never reach it; the
    // last number is so large that each step is short, and the next probe crosses as much again.
    constexpr uint64_t kTarget = 100'000;
    constexpr size_t kFirstProbe = 9'900'042, kFile = 20'000'000;
    Bytes run, end;
    for (uint64_t i = 0; i < 750; i++) run = Cat({run, FrameBytes({kTarget - 200 + i / 5}, 200)});
    for (uint64_t n : {kTarget - 40, kTarget - 39, uint64_t{1'100'000}})
        end = Cat({end, FrameBytes({n}, 200)});
    const StreamInfo info = {4096, 4096, 0, 44100, 2, 16, 300, 2 * kTarget * 4096};
    Bytes file = StreamBuilder(info).Frames(0, 2, 200).Build();
    file.resize(kFirstProbe, 0x55);
    file = Cat({file, run});
    file.resize(kFile - end.size(), 0x55);
    Session s(Cat({file, end}));
    ASSERT_EQ(s.Start(), AMEDIA_OK);
    s.source.keeps_calls = false;
    int64_t calls = 0;
    s.source.hook = [&](const Call&) { calls++; };
    EXPECT_EQ(s.Read(android::SEEK, 9'287'981'858).status, AMEDIA_OK);
    EXPECT_GT(calls, 1'000'000);
    EXPECT_LT(calls, (int64_t{4} << 30) / 4096 * 11 / 10);
}

TEST(Memory, StaysWhereItWas) {
    const auto resident_pages = [] {
        size_t all = 0, resident = 0;
        std::ifstream("/proc/self/statm") >> all >> resident;
        return resident;
    };
    const Bytes file = StreamBuilder{}.Picture({Bytes(9000)}).Frames(0, 3, 900).Build();
    size_t before = 0;
    for (int round = 0; round < 10000; round++) {
        if (round == 1000) before = resident_pages();
        PluginLife(file);
    }
    if (__asan_init != nullptr) return;
    EXPECT_LE(resident_pages(), before + 128);
}

TEST(Memory, IsBoundedInPublicFiles) {
    const char* const folder = std::getenv("KELFLAC_TEST_FILES");
    if (folder == nullptr) GTEST_SKIP() << "KELFLAC_TEST_FILES names no folder of FLAC files";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file()) Lives(Text(FileText(entry.path())));
}

}  // namespace kelflac_test
