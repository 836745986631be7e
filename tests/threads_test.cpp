// Several threads at a time, for ThreadSanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/plugin_host.h"

namespace kelflac_test {

static const Bytes kFile = StreamBuilder{}.Comments({"TITLE=t"}).Frames(0, 240, 700).Build(),
                   kAudio(kFile.end() - 240 * 700, kFile.end());

TEST(Threads, EachHasAnExtractorAndAnotherFreesItsTrack) {
    const auto live = [] {
        std::thread dropper;
        {
            Started s(kFile);
            EXPECT_NE(s.FileMeta().find("title='t'"), std::string::npos);
            Bytes got;
            for (Packet p = s.Read(); p.status == AMEDIA_OK; p = s.Read())
                got.insert(got.end(), p.bytes.begin(), p.bytes.end());
            EXPECT_EQ(got, kAudio);
            EXPECT_EQ(s.Read(android::SEEK, 1'000'000).bytes, FrameBytes({10}, 700));
            dropper = std::thread([track = std::move(s.track)]() mutable { track.reset(); });
        }
        dropper.join();
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; i++) threads.emplace_back([&] { live(), live(), live(); });
    for (std::thread& thread : threads) thread.join();
}

TEST(Threads, TwoReadATrackAndReleaseItsOneBufferLate) {
    Started s(kFile);
    std::atomic<int> readers{2};
    Bytes got;  // owned by the thread that has the buffer
    const auto read = [&] {
        kelflac_host::Read r = s.Next();
        for (; r.status == AMEDIA_OK; r = s.Next()) {
            const auto* const data = static_cast<const uint8_t*>(r.buffer->data(r.buffer->handle));
            got.insert(got.end(), data, data + r.buffer->range_length(r.buffer->handle));
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            r.buffer.reset();
        }
        EXPECT_EQ(r.status, AMEDIA_ERROR_END_OF_STREAM) << "a read failed before the end";
        --readers;
    };
    const auto ask = [&] {
        const Owned<AMediaFormat> format(AMediaFormat_new());
        while (readers > 0) {
            s.track->getFormat(s.track->data, format.get());
            EXPECT_NE(Entries(AMEDIA_OK, format.get()).find("mime='audio/flac'"),
                      std::string::npos);
        }
    };
    std::thread first(read), second(read), third(ask);
    first.join(), second.join(), third.join();
    EXPECT_EQ(got, kAudio);
}

TEST(Threads, AFormatWaitsForTheEndOfARead) {
    Player* player = nullptr;
    const Owned<AMediaFormat> format(AMediaFormat_new());
    std::atomic<bool> given{false};
    std::thread asker;
    Started s(kFile, [&](Call& call) {
        if (player == nullptr || asker.joinable() || call.op != "read") return;
        asker = std::thread([&] {
            player->track->getFormat(player->track->data, format.get());
            given = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_FALSE(given) << "another thread got the format while the track reads the source";
    });
    player = &s;
    while (!asker.joinable() && s.Read().status == AMEDIA_OK) continue;
    ASSERT_TRUE(asker.joinable()) << "no read of the track reads the source";
    asker.join();
}

}  // namespace kelflac_test
