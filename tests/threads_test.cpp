// Several threads at a time, to be run under ThreadSanitizer.
#include <gtest/gtest.h>

#include <deque>
#include <mutex>
#include <thread>

#include "tests/support/plugin_host.h"

namespace kelflac_test {

static const StreamBuilder kStream = StreamBuilder{}.Comments({"TITLE=t"}).Frames(0, 240, 700);
static const size_t kAudioBytes = 240 * 700;

static Bytes Audio() {
    const Bytes stream = kStream.Build();
    return {stream.end() - kAudioBytes, stream.end()};
}

TEST(Threads, AnExtractorEachAndItsTrackDroppedByAnother) {
    std::atomic<int> whole{0};
    const auto live = [&] {
        std::thread dropper;
        {
            Session s(kStream.Build());
            const bool tagged = s.FileMeta().find("title='t'") != std::string::npos;
            Bytes got;
            s.Start();
            for (Packet p = s.Read(); p.status == AMEDIA_OK; p = s.Read())
                got.insert(got.end(), p.bytes.begin(), p.bytes.end());
            const Packet sought = s.Read(android::SEEK, 1'000'000);
            if (tagged && got == Audio() && sought.bytes == FrameBytes({10}, 700)) ++whole;
            dropper = std::thread([track = std::move(s.track)]() mutable { track.reset(); });
        }
        dropper.join();
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; i++) threads.emplace_back([&] { live(), live(), live(); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(whole, 24);
}

TEST(Threads, TwoReadATrackWhileItsOneBufferIsReleasedLate) {
    Session s(kStream.Build());
    ASSERT_EQ(s.Start(), AMEDIA_OK);
    std::mutex lock;
    std::deque<android::CMediaBuffer*> delivered;
    std::atomic<int> readers{2};
    const auto read = [&] {
        for (android::CMediaBuffer* b = nullptr;;) {
            if (s.track->read(s.track->data, &b, 0, 0) != AMEDIA_OK) break;
            const std::lock_guard<std::mutex> held(lock);
            delivered.push_back(b);
        }
        --readers;
    };
    const auto ask = [&] {
        AMediaFormat* const format = AMediaFormat_new();
        while (readers > 0) {
            s.track->getFormat(s.track->data, format);
            EXPECT_NE(Entries(AMEDIA_OK, format).find("mime='audio/flac'"), std::string::npos);
        }
        AMediaFormat_delete(format);
    };
    std::thread first(read), second(read), third(ask);
    Bytes got;
    for (bool more = true; more || readers > 0;) {
        std::this_thread::sleep_for(std::chrono::microseconds(100));
        const std::lock_guard<std::mutex> held(lock);
        more = !delivered.empty();
        if (!more) continue;
        const android::CMediaBuffer* const b = delivered.front();
        delivered.pop_front();
        const auto* const data = static_cast<const uint8_t*>(b->data(b->handle));
        got.insert(got.end(), data, data + b->range_length(b->handle));
        b->release(b->handle);
    }
    first.join(), second.join(), third.join();
    EXPECT_EQ(got, Audio());
}

}  // namespace kelflac_test
