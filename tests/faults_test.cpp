// Each allocation and each call of the source fails in turn, once and from then on: what comes is
// documented and the file's own, nothing leaks, and the next open is as good as the first.
#include <gmock/gmock.h>

#include "tests/support/heap.h"
#include "tests/support/life.h"

namespace kelflac_test {

using Strikes = std::function<bool()>;  // asked at each event
using Play = Life (*)(const Bytes& file, const Hook& hook);

/** Plays with each event struck in turn until none is left, over a file whose tags and frames need
    a larger ring than the first. `whole`: no frame may come cut. Returns what was told. */
static Texts StrikeEach(Play play, const std::function<Hook(Strikes)>& arm, bool whole = false) {
    const Texts comments = {"TITLE=" + std::string(20000, 'x'), "DATE=2020", "ARTIST=a"};
    StreamBuilder builder = StreamBuilder{}.Picture({Bytes(3000, 'p')}).Comments(comments);
    builder.Block(kSeekTable, Bytes(36)).Picture({Bytes(20000, 'q')}).Frames(0, 12, 5000);
    const Bytes file = builder.Build();
    const Life sound = play(file, {});
    Texts told;
    bool struck = true;
    for (int n = 0, seen = 0; struck; n++) {
        for (bool lasting : {false, true}) {
            seen = 0;
            Life life = play(file, arm([&] { return lasting ? seen++ >= n : seen++ == n; }));
            allocation_fails = {};
            struck = seen > n;
            told.push_back(life.told);
            for (const Bytes& frame : life.frames) EXPECT_TRUE(!whole || sound.frames.count(frame));
            if (struck) life = play(file, {});
            EXPECT_TRUE(life.told == sound.told && life.frames == sound.frames) << n;
        }
    }
    return told;
}

TEST(Faults, EachAllocation) {
    const auto arm = [](const Strikes& strikes) {
        allocation_fails = strikes;
        return Hook{};
    };
    // Without the context, the first ring, STREAMINFO or its ring nothing opens; a picture ends the
    // metadata, a text is left out.
    const std::string pic = "<3000>12 ", end = "<3000><20000>12 ", all = "200002020";
    std::string told;
    for (const std::string& life : StrikeEach(DemuxerLife, arm, true)) told += life + " ";
    EXPECT_EQ(told, "-2 -2 -2 -2 -2 -2 -2 -2 12 12 2020" + end + pic + "20000" + end + "20000" +
                        pic + all + end + all + pic + all + pic + all + pic + all + end + all +
                        end);
    const Texts lives = StrikeEach(PluginLife, arm, true);
    EXPECT_EQ(lives.size(), 78U);
    for (const std::string& life : lives) {
        const size_t list = life.find("types='");  // NULs stand before
        if (list == life.npos) continue;
        EXPECT_THAT(life.substr(list, 99), testing::ContainsRegex("^types='([a-z]+=3:)+', "));
        EXPECT_EQ(life.find("=''"), life.npos) << "a text without its value";
    }
}

TEST(Faults, EachCallOfTheSource) {
    const std::pair<const char*, int64_t (*)(int64_t result)> rows[] = {
        {"read", [](int64_t) { return int64_t{-1}; }},
        {"read", [](int64_t) { return int64_t{0}; }},
        {"read", [](int64_t count) { return count / 3; }},
        {"setpos", [](int64_t) { return int64_t{-1}; }},
        {"getsize", [](int64_t) { return int64_t{0}; }}};
    for (const auto& row : rows) {
        const auto arm = [&](const Strikes& strikes) -> Hook {
            return [&row, strikes](Call& call) {
                if (call.op == row.first && strikes()) call.result = row.second(call.result);
            };
        };
        for (Play play : {DemuxerLife, PluginLife}) {
            const bool is_made = play == DemuxerLife || row.first != std::string("setpos");
            EXPECT_EQ(StrikeEach(play, arm).size() > 2, is_made) << row.first;
        }
    }
    EXPECT_EQ(Demuxer({}, [](Call& call) { call.result = -1; }).err, -4) << "a refused open";
}

}  // namespace kelflac_test
