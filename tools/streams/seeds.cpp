// Writes small inputs in the form of fuzz/faulty_source.h to DIR/plugin, DIR/demuxer and DIR/tags.
// Adds FILEs of up to 64 KiB to the first two.  Usage: kelflac_seeds DIR [FILE...]
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tools/streams/hostile_streams.h"

namespace kelflac_streams {
namespace {

namespace fs = std::filesystem;

constexpr size_t kLargest = 64 << 10;  // larger files make mutations too slow
constexpr uint32_t kWrongSize = 1 << 20;

/** How a source misbehaves. */
struct Faults {
    uint8_t size_kind = 0;  ///< 0 known, 1 unknown, 2 wrong, 3 changing.
    /** A byte for each call, used in turn. 0: no fault. 8n + 1: a read gives at most n/32 of what
        is asked for. 2: it gives nothing. 3: it fails. 4: a position or the open is refused. */
    Bytes faults = {};
    uint32_t zeros = 0, zeros_at = 0;  ///< Put into the file.
};

/** Writes an input: the file's bytes, a script in reverse order, and the script's length in a
    byte. The script has the faults, then the steps for the fuzz target. Leaves out a file above
    kLargest. */
void Write(const fs::path& folder, const std::string& name, const Bytes& file,
           const Bytes& steps = {}, const Faults& f = {}) {
    if (file.size() > kLargest) return;
    Bytes script = Cat({{f.size_kind}, Be(kWrongSize, 4), Be(f.faults.size(), 1), f.faults});
    script = Cat({script, Be(f.zeros, 2), Be(f.zeros_at, 2), steps});
    std::reverse(script.begin(), script.end());
    const Bytes input = Cat({file, script, Be(script.size(), 1)});
    fs::create_directories(folder);
    std::ofstream out(folder / name, std::ios::binary);
    std::copy(input.begin(), input.end(), std::ostreambuf_iterator<char>(out));
    if (!out.flush()) throw std::runtime_error("can't write " + (folder / name).string());
}

void AddStreams(std::vector<NamedStream>* streams) {
    StreamBuilder tagged = StreamBuilder{}.Block(kPadding, Bytes(9)).Block(kSeekTable, Bytes(36));
    tagged.Comments({"title=A", "ARTIST=B", "ALBUM=C", "ALBUM ARTIST=D", "GENRE=E", "AUTHOR=F",
                     "COMPOSER=G", "LYRICIST=H", "DATE=2019-05", "TRACKNUMBER=3/12"});
    for (int i = 0; i < 17; ++i) tagged.Picture({Text("art")});
    streams->push_back({"id3v2", Cat({Id3v2(60), tagged.Frames(0, 5, 120).Build()})});
    streams->push_back({"large", StreamBuilder{}.Frames(0, 6, 3000).Raw({0xFF, 0xF8}).Build()});
    StreamBuilder mixed = StreamBuilder({16, 16, 0, 8000, 8, 8, 0, 0}).Frames(0, 260, 16);
    uint64_t random = 1;
    for (int i = 0; i < 600; ++i)
        mixed.Frames(NextRandom(random) % 999, 1, 16 + static_cast<size_t>(random % 90));
    streams->push_back({"mixed-up", mixed.Build()});
}

void WriteStreams(const fs::path& folder, const std::vector<NamedStream>& streams) {
    const auto seek = [](uint64_t time) { return Cat({{0x88}, Be(time, 8), {0}}); };
    const Bytes seeks = Cat({seek(300000), seek(UINT64_MAX), seek(INT64_MAX)});
    // Queries, a start, a read, the seeks, a stop, a start, reads to the end, another track.
    const Bytes queries = {0, 1, 2, 3, 0x81, 0x84, 4, 5}, restart = {6, 6}, again = {7, 4, 6, 8};
    const Bytes play = Cat({queries, {6, 8}, seeks, restart, Bytes(6, 15), again});
    // The stream's own duration; reads, a look, seeks, smaller buffers, reads to the end.
    const Bytes steps = {0, 5, 6, 128, 0, 0xC0, 0xF0, 7};
    const Bytes walk = Cat({Bytes(8), steps, Be(999999, 8), Bytes(6, 4)});
    const Faults faults[] = {{}, {1}, {3, {8 * 20 + 1, 0, 0, 2}}, {0, {0, 0, 4, 3, 0}, 5000, 60}};
    for (const auto& [name, bytes] : streams) {
        for (const Faults& fault : faults) {
            const std::string numbered = name + "-" + std::to_string(&fault - faults);
            Write(folder / "plugin", numbered, bytes, play, fault);
            Write(folder / "demuxer", numbered, bytes, walk, fault);
        }
    }
}

/** Blocks in which each length field in turn has extreme values. */
void WriteTags(const fs::path& folder) {
    const Bytes rest = Bytes(100, 'r');
    for (const uint32_t n : {0U, 4U, 20U, 99U, 200U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        const Bytes blocks[] = {CommentsBody({"title=x", "TITLE=y", "date=2019"}, "v", n),
                                Cat({Le(n, 4), rest}),
                                Cat({Bytes(4), Le(1, 4), Le(n, 4), Text("Album Artist="), rest}),
                                PictureBody({rest, 3, "m", "d", n}),
                                PictureBody({rest, 3, "m", "d", {}, n}),
                                PictureBody({rest, 3, "m", "d", {}, {}, n})};
        for (uint8_t i = 0; i < 12; ++i) {
            // The kind of block, its place, and the bytes from its end to the file's end.
            const Bytes step = {i / 2 < 3 ? uint8_t{0} : uint8_t{1}, 0, 0, 0, 20};
            Write(folder / "tags", std::to_string(i) + "-" + std::to_string(n),
                  Cat({blocks[i / 2], Bytes(20)}), step, {static_cast<uint8_t>(i % 2)});
        }
    }
    Write(folder / "tags", "long", CommentsBody({"TITLE=" + std::string(9000, 'x')}));
}

/** The seeds of each target, with some from real files. */
void WriteSeeds(const fs::path& folder, const std::vector<fs::path>& files) {
    std::vector<NamedStream> streams = HostileStreams();
    AddStreams(&streams);
    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        if (!in) throw std::runtime_error("can't read " + file.string());
        streams.push_back({file.filename(), {std::istreambuf_iterator<char>(in), {}}});
    }
    WriteStreams(folder, streams);
    WriteTags(folder);
}

}  // namespace
}  // namespace kelflac_streams

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    try {
        kelflac_streams::WriteSeeds(argv[1], {argv + 2, argv + argc});
    } catch (const std::exception& e) {
        fprintf(stderr, "kelflac_seeds: %s\n", e.what());
        return 1;
    }
    return 0;
}
