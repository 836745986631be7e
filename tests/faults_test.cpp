// Each allocation, read, setpos and getsize fails in turn, once or from then on. Reads have only
// documented statuses and the file's bytes, nothing leaks, and the next open works as the first.
#include <gmock/gmock.h>

#include "tests/support/heap.h"
#include "tests/support/life.h"

namespace kelflac_test {

using Strikes = std::function<bool()>;  // called at each event; true: it fails
using Play = Life (*)(const Bytes& file, const Hook& hook);

/** Plays a tagged file whose frames make the ring grow, and makes each event fail in turn. `whole`:
    no frame may be cut. Returns the lives: the first event fails, all from the first on fail, the
    second fails, and so on; at last none fails. */
static std::vector<Life> StrikeEach(Play play, const std::function<Hook(Strikes)>& arm,
                                    bool whole = false) {
    const Texts comments = {"TITLE=" + std::string(20000, 'x'), "DATE=2020", "ARTIST=a"};
    StreamBuilder builder = StreamBuilder{}.Picture({Bytes(3000, 'p')}).Comments(comments);
    builder.Block(kSeekTable, Bytes(36)).Picture({Bytes(20000, 'q')}).Frames(0, 12, 5000);
    const Bytes file = builder.Build();
    const Life sound = play(file, {});
    std::vector<Life> lives;
    bool struck = true;
    for (int n = 0; struck; n++) {
        SCOPED_TRACE(n);
        int seen = 0;
        const Strikes strikes = [&] { return n % 2 != 0 ? seen++ >= n / 2 : seen++ == n / 2; };
        lives.push_back(play(file, arm(strikes)));
        allocation_fails = {};
        struck = seen > n / 2;
        for (const Bytes& frame : lives.back().frames)
            EXPECT_GE(sound.frames.count(frame), whole ? 1U : 0U) << "a frame is cut";
        const Life after = struck ? play(file, {}) : lives.back();
        SCOPED_TRACE("a life without failures after one in which event " + std::to_string(n / 2) +
                     (n % 2 != 0 ? " and all after it failed" : " failed"));
        EXPECT_EQ(after.account.Unlike(sound.account), "");
        EXPECT_EQ(after.answers, sound.answers);
        EXPECT_TRUE(after.frames == sound.frames) << "other frames";
    }
    return lives;
}

static Hook FailAllocations(const Strikes& strikes) {
    allocation_fails = strikes;
    return {};
}

TEST(Faults, WithoutMemoryTheDemuxerLeavesOutATagOrRefuses) {
    const std::string refused = "refused: no memory",
                      untagged = "title none, date none, pictures none",
                      one = "pictures 3,000 bytes";
    // What is missing when an allocation fails, and when all from there on fail.
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"the context", refused, refused},
        {"the first ring", refused, refused},
        {"STREAMINFO", refused, refused},
        {"the ring for its frames", refused, refused},
        {"the first picture", untagged, untagged},  // it ends the metadata
        {"the title", "title none", "title none, date none, " + one},
        {"the date", "date none", "date none, " + one},
        {"the artist", "", one},
        {"the second picture", one, one}};
    const std::vector<Life> lives = StrikeEach(DemuxerLife, FailAllocations, true);
    ASSERT_EQ(lives.size(), 2 * std::size(rows) + 1);
    auto life = lives.begin();
    for (const auto& [allocation, once, lasting] : rows) {
        const Account& sound = lives.back().account;
        EXPECT_EQ((life++)->account.Unlike(sound), once) << "without " << allocation;
        EXPECT_EQ((life++)->account.Unlike(sound), lasting)
            << "without this and all after it: " << allocation;
    }
}

TEST(Faults, WithoutMemoryThePluginPublishesNoHalfText) {
    const std::vector<Life> lives = StrikeEach(PluginLife, FailAllocations, true);
#ifndef KELFLAC_REAL_LIBS  // no test can refuse memory to the real String8
    EXPECT_GT(lives.size(), 60U);
#endif
    for (const Life& life : lives) {
        const size_t list = life.answers.find("types='");  // NULs stop a regex
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
            if (play == PluginLife && row.first == "setpos") continue;  // it has none
            EXPECT_GT(StrikeEach(play, arm).size(), 1U) << row.first << " is never called";
        }
    }
}

}  // namespace kelflac_test
