// Each allocation and each call of the source fails in turn, once and from then on: what comes is
// documented and the file's own, nothing leaks, and the next open is as good as the first.
#include <gmock/gmock.h>

#include "tests/support/heap.h"
#include "tests/support/life.h"

namespace kelflac_test {

using Strikes = std::function<bool()>;  // asked at each event
using Play = Life (*)(const Bytes& file, const Hook& hook);

/** Plays with each event struck in turn until none is left, over a file whose tags and frames need
    a larger ring than the first. `whole`: no frame may come cut. Returns the lives: with the first
    event struck, with all from the first on, with the second, and so on; two sound ones at last. */
static std::vector<Life> StrikeEach(Play play, const std::function<Hook(Strikes)>& arm,
                                    bool whole = false) {
    const Texts comments = {"TITLE=" + std::string(20000, 'x'), "DATE=2020", "ARTIST=a"};
    StreamBuilder builder = StreamBuilder{}.Picture({Bytes(3000, 'p')}).Comments(comments);
    builder.Block(kSeekTable, Bytes(36)).Picture({Bytes(20000, 'q')}).Frames(0, 12, 5000);
    const Bytes file = builder.Build();
    const Life sound = play(file, {});
    std::vector<Life> lives;
    bool struck = true;
    for (int n = 0, seen = 0; struck; n++) {
        SCOPED_TRACE(n);
        for (bool lasting : {false, true}) {
            seen = 0;
            lives.push_back(play(file, arm([&] { return lasting ? seen++ >= n : seen++ == n; })));
            allocation_fails = {};
            struck = seen > n;
            for (const Bytes& frame : lives.back().frames)
                EXPECT_GE(sound.frames.count(frame), whole ? 1U : 0U) << "a frame came cut";
            const Life after = struck ? play(file, {}) : lives.back();
            EXPECT_EQ(after.account.Unlike(sound.account), "");
            EXPECT_EQ(after.answers, sound.answers);
            EXPECT_TRUE(after.frames == sound.frames);
        }
    }
    return lives;
}

static Hook FailAllocations(const Strikes& strikes) {
    allocation_fails = strikes;
    return {};
}

TEST(Faults, WithoutMemoryTheDemuxerLeavesOutATagOrRefuses) {
    const char* const refused = "refused: no memory";
    const struct {
        const char *allocation, *once, *lasting;  // what is missing
    } rows[] = {
        {"the context", refused, refused},
        {"the first ring", refused, refused},
        {"STREAMINFO", refused, refused},
        {"the ring for its frames", refused, refused},
        // A picture ends the metadata.
        {"the first picture", "title none, date none, pictures none",
         "title none, date none, pictures none"},
        {"the title", "title none", "title none, date none, pictures 3,000 bytes"},
        {"the date", "date none", "date none, pictures 3,000 bytes"},
        {"the artist", "", "pictures 3,000 bytes"},
        {"the second picture", "pictures 3,000 bytes", "pictures 3,000 bytes"},
    };
    const std::vector<Life> lives = StrikeEach(DemuxerLife, FailAllocations, true);
    ASSERT_EQ(lives.size(), 2 * std::size(rows) + 2);
    auto life = lives.begin();
    for (const auto& [allocation, once, lasting] : rows) {
        SCOPED_TRACE(allocation);
        EXPECT_EQ((life++)->account.Unlike(lives.back().account), once);
        EXPECT_EQ((life++)->account.Unlike(lives.back().account), lasting);
    }
}

TEST(Faults, WithoutMemoryThePluginPublishesNoTextByHalves) {
    const std::vector<Life> lives = StrikeEach(PluginLife, FailAllocations, true);
    EXPECT_GT(lives.size(), 60U);
    for (const Life& life : lives) {
        const size_t list = life.answers.find("types='");  // NULs stand before
        if (list == std::string::npos) continue;
        EXPECT_THAT(life.answers.substr(list, 99),
                    testing::ContainsRegex("^types='([a-z]+=3:)+', "));
        EXPECT_EQ(life.answers.find("=''"), std::string::npos) << "a text without its value";
    }
}

TEST(Faults, AFailedCallOfTheSourceLeavesNoTrace) {
    const std::pair<std::string_view, int64_t (*)(int64_t result)> rows[] = {
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
            if (play == PluginLife && row.first == "setpos") continue;  // the framework has none
            EXPECT_GT(StrikeEach(play, arm).size(), 2U) << row.first << " is never called";
        }
    }
}

TEST(Faults, ARefusedOpenIsTold) {
    EXPECT_EQ(Demuxer({}, [](Call& call) { call.result = -1; }).err, -4);
}

}  // namespace kelflac_test
