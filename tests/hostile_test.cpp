// Streams that are wrong on purpose: the result of each, and one creeping seek.
#include <gtest/gtest.h>

#include <fstream>
#include <iomanip>
#include <sstream>

#include "tests/support/life.h"
#include "tests/support/plugin_host.h"
#include "tools/streams/hostile_streams.h"

namespace kelflac_test {

/** What a demuxer makes of a file of known and of unknown size. Plays other lives too. */
static std::pair<Account, Account> Lives(const Bytes& file) {
    DemuxerLife(file, [](Call& call) {
        if (call.op == "setpos" && call.arg < 0) call.result = -1;
    });
    PluginLife(file);
    PluginLife(file, UnknownSize);
    return {DemuxerLife(file).account, DemuxerLife(file, UnknownSize).account};
}

static const Texts kHeading = {
    "stream",   "opens?", "title", "date",
    "pictures", "frames", "seek",  "different if the source's size is unknown"};

/** A line of the table. Empty cells at its end are left out. */
static std::string Line(const Texts& cells) {
    constexpr int kWidths[] = {51, 29, 13, 5, 17, 7, 6, 0};
    std::ostringstream out;
    for (size_t i = 0; i < cells.size(); i++)
        out << (i > 0 ? "| " : "") << std::left << std::setw(kWidths[i]) << cells[i];
    std::string line = out.str();
    return line.erase(line.find_last_not_of(" |") + 1) + "\n";
}

static std::string Table() {
    std::string table = Line(kHeading);
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

TEST(Hostile, StreamsGiveWhatTheTableSays) {
    std::ostringstream file;
    file << std::ifstream(KELFLAC_HOSTILE_LIVES).rdbuf();
    const std::string old = file.str();
    const std::string now = old.substr(0, old.find("\n\n") + 2) + Table();  // keeps the first lines
    const char* const written = std::getenv("KELFLAC_WRITE_HOSTILE_TABLE");
    if (written != nullptr) std::ofstream(written) << now;
    std::istringstream rows(now), expected_rows(written != nullptr ? now : old);
    for (std::string got, expected; std::getline(rows, got);) {
        std::getline(expected_rows, expected);
        ASSERT_EQ(got, expected) << "The cells are: " << Line(kHeading);
    }
    EXPECT_TRUE(expected_rows.peek() == EOF) << "the file has more rows";
}

TEST(Hostile, ASeekThatCreepsEndsAfter4GiB) {
    Started s(CreepingStream());
    s.source.keeps_calls = false;
    int64_t calls = 0;
    s.source.hook = [&](const Call&) { calls++; };
    EXPECT_EQ(s.Read(android::SEEK, kCreepingUs).status, AMEDIA_OK);
    EXPECT_GT(calls, 1'000'000);
    EXPECT_LT(calls, (int64_t{4} << 30) / 4096 * 11 / 10);
}

}  // namespace kelflac_test
