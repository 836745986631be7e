#include "tests/support/life.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "tests/support/heap.h"
#include "tests/support/plugin_host.h"
#include "tools/streams/hostile_streams.h"

namespace kelflac_test {

using ::testing::AnyOf;
constexpr int kMostReads = 2000;  // where pieces exceed the buffer, no read returns the end

/** Outlives all that a life creates. */
struct LeakCheck {
    ~LeakCheck() { EXPECT_EQ(heap_live, live); }
    const size_t live = heap_live;
};

std::string Account::Unlike(const Account& other) const {
    constexpr const char* kBefore[] = {"", "title ", "date ", "pictures ", "frames ", "seek "};
    const Texts here = Cells(), there = other.Cells();
    std::string out;
    for (size_t i = 0; i < here.size(); i++)
        if (!here[i].empty() && here[i] != there[i])
            out += (out.empty() ? "" : ", ") + (kBefore[i] + here[i]);
    return out;
}

static const std::map<int, std::string> kOpenings = {{0, "opens"},
                                                     {-2, "refused: no memory"},
                                                     {-3, "refused: malformed"},
                                                     {-5, "refused: no fLaC marker"},
                                                     {-6, "refused: variable block size"}};

/** A text or a picture in words. */
template <typename STORED>
static std::string Words(const STORED& s) {
    if (s.data == nullptr) return "none";
    const bool is_short = s.len > 0 && s.len < 10 && std::all_of(s.data, s.data + s.len, isgraph);
    return is_short ? std::string(s.data, s.data + s.len) : Counted(s.len, "bytes");
}

static std::string Pictures(const KELFLACFD_TAG& tag) {
    if (tag.pic_num == 0) return "none";
    const std::string first = Words(tag.pic[0]), last = Words(tag.pic[tag.pic_num - 1]);
    if (tag.pic_num < 3) return first + (tag.pic_num == 2 ? " and " + last : "");
    return std::to_string(tag.pic_num) + " from " + first + " to " + last;
}

static bool Holds(const Bytes& file, const uint8_t* piece, size_t size) {
    return size == 0 || memmem(file.data(), file.size(), piece, size) != nullptr;
}

/** Counts the bytes of texts and pictures, and checks that the file has them. */
static size_t StoredBytes(const KELFLACFD_TAG& tag, const Bytes& file) {
    std::vector<KELFLACFD_PIC> stored(tag.pic, tag.pic + tag.pic_num);
    for (const auto* t : {&tag.title, &tag.artist, &tag.album, &tag.genre, &tag.album_artist,
                          &tag.author, &tag.composer, &tag.lyricist, &tag.date})
        stored.push_back({t->data, t->len});
    size_t sum = 0;
    for (auto [data, size] : stored) {
        sum += size;
        while (size > 0 && data[size - 1] == 0) size--;  // zeros where the source gave no more
        EXPECT_TRUE(Holds(file, data, size)) << "the bytes of a tag or picture are not in the file";
    }
    return sum;
}

static int Read(Demuxer& d, const Bytes& file, Life* life) {
    const Frame frame = d.Read();
    EXPECT_THAT(frame.status, AnyOf(0, 1, -7));
    if (frame.status != 0) return frame.status;
    const int64_t end = logical_pos(&d.ctx->fal), start = end - frame.length;
    const bool is_inside = start >= 0 && end <= static_cast<int64_t>(file.size());
    EXPECT_EQ(is_inside ? Bytes(file.data() + start, file.data() + end) : Bytes{}, frame.bytes);
    life->frames.insert(frame.bytes);
    return 0;
}

/** Five seeks, with a read after each. True when all seeks worked. */
static bool Seeks(Demuxer& d, const Bytes& file, Life* life) {
    constexpr int64_t kMostSeekBytes = int64_t{1} << 32;
    const int64_t end = d.info.duration;
    int failed = 0;
    for (int64_t time : {int64_t{0}, end / 2, end / 5 * 4, end, INT64_MAX}) {
        d.source.counts["setpos"] = 0;
        const int status = d.Seek(time);
        EXPECT_THAT(status, AnyOf(0, -3));
        EXPECT_LE(d.source.counts["setpos"], kMostSeekBytes / d.ctx->fal.size + 3);
        failed += status != 0;
        Read(d, file, life);
    }
    return failed == 0;
}

Life DemuxerLife(const Bytes& file, const Hook& hook) {
    const LeakCheck check;
    heap_peak = check.live;
    Demuxer d(file, hook);
    const size_t peak = heap_peak - check.live;
    // One block of below 16 MiB may state bytes that are missing. The ring has at most 32 MiB, and
    // the one before it 16.
    constexpr size_t kBlock = 1 << 24, kRings = 3 * kBlock, kRest = 64 << 10;
    EXPECT_LE(peak, kRings + file.size() + kBlock + kRest);
    EXPECT_EQ(d.info.codec, d.err == 0 ? 0xF1AC : d.source.counts["open"] > 0 ? 0 : 99);
    EXPECT_EQ(d.source.counts["close"], d.err == 0 ? 0 : d.source.counts["open"]);
    Life life;
    life.account.opens = kOpenings.at(d.err);
    if (d.ctx == nullptr) return life;
    const size_t stored = StoredBytes(d.ctx->tag_rec, file);
    EXPECT_LE(peak, static_cast<size_t>(d.ctx->fal.size) * 3 / 2 + stored + kRest);
    const KELFLACFD_TAG none = {}, &tag = d.info.tag != nullptr ? *d.info.tag : none;
    const size_t allocations = heap_allocations;
    int status = 0, frames = 0;
    for (int i = 0; i < kMostReads && status != 1; i++)
        frames += (status = Read(d, file, &life)) == 0;
    EXPECT_EQ(status == 1 ? 0 : d.ctx->full_check_count, 0) << "frames without an end";
    const bool seeks = Seeks(d, file, &life);
    EXPECT_EQ(heap_allocations, allocations);
    life.account = {kOpenings.at(0), Words(tag.title),       Words(tag.date),
                    Pictures(tag),   std::to_string(frames), seeks ? "works" : "fails"};
    return life;
}

Life PluginLife(const Bytes& file, const Hook& hook) {
    const LeakCheck check;
    const auto fails = std::exchange(allocation_fails, {});
    Session s(Text("fLaC123456"));  // its bytes and its extractor are replaced
    s.source.data = file;
    s.source.hook = hook;
    allocation_fails = fails;
    s.extractor = Player(GETEXTRACTORDEF(), s.source.slots()).extractor;
    if (s.extractor == nullptr) return {};
    Life life;
    life.answers.append(s.TrackFormat()).append(s.FileMeta());
    if (s.Start() != AMEDIA_OK || !s.group->has_buffers(s.group->handle)) return life;
    const auto read = [&](uint32_t options, int64_t us) {
        const auto [status, frame, meta] = s.Read(options, us);
        EXPECT_THAT(status, AnyOf(0, -10000, -10002, -10006));
        const bool is_the_files = Holds(file, frame.data(), frame.size());
        EXPECT_TRUE(is_the_files) << "the " << frame.size()
                                  << " bytes of a read stand nowhere in the file";
        life.answers += " " + std::to_string(status) + meta;
        if (status == AMEDIA_OK) life.frames.insert(frame);
        return is_the_files && status != AMEDIA_ERROR_END_OF_STREAM;
    };
    for (int i = 0; i < kMostReads && read(0, 0);) i++;
    for (int64_t us : {int64_t{0}, int64_t{100000}, INT64_MAX, INT64_MIN}) read(android::SEEK, us);
    return life;
}

}  // namespace kelflac_test
