#include "tests/cost/meter.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tools/host/player.h"

extern "C" android::ExtractorDef GETEXTRACTORDEF();

namespace kelflac_test {
namespace {

// An open stores at most 9 texts and 16 pictures, and clears a few records of its own.
constexpr int kMostZeroed = 32;
constexpr size_t kLeastZeroed = 256;  // fewer zeros are not counted
constexpr uint64_t kUnit = 16;        // bytes that cost as much as a block

struct Count {
    const char* name = "";
    bool is_running = false;
    uint64_t allowed = 0;
    int zeroed = 0;  // fills with zeros since the query began
    Bill bill = {};
};
Count meter;

void Allow(uint64_t bytes, uint64_t calls) {
    meter.bill.bytes += bytes;
    meter.bill.calls += calls;
    meter.allowed = kBlocksPerByte * meter.bill.bytes + kBlocksPerCall * meter.bill.calls;
}

inline void Spend(uint64_t blocks) {
    if (!meter.is_running) return;
    meter.bill.blocks += blocks;
    if (meter.bill.blocks <= meter.allowed) return;
    meter.is_running = false;
    fprintf(stderr,
            "%s: more than %" PRIu64 " blocks for %" PRIu64 " bytes delivered and %" PRIu64
            " calls\n",
            meter.name, meter.allowed, meter.bill.bytes, meter.bill.calls);
    abort();
}

/** Zeros replace bytes that a source doesn't deliver. They count as delivered, up to a limit. */
void AllowZeros(size_t size) {
    if (meter.is_running && size >= kLeastZeroed && meter.zeroed++ < kMostZeroed) Allow(size, 0);
}

/** Passes on another source's bytes. Counts each once, until Forget. The sources cost nothing. */
class MeteredSource : public host::DataSource {
  public:
    explicit MeteredSource(host::DataSource* inner) : mInner(inner) {}
    ssize_t readAt(off64_t offset, void* data, size_t size) override {
        meter.is_running = false;
        const ssize_t count = mInner->readAt(offset, data, size);
        if (count > 0) NoteDelivered(static_cast<size_t>(offset), static_cast<size_t>(count));
        meter.is_running = true;
        return count;
    }
    android::status_t getSize(off64_t* size) override {
        meter.is_running = false;
        const android::status_t status = mInner->getSize(size);
        meter.is_running = true;
        return status;
    }
    void Forget() { mIsDelivered.clear(); }

  private:
    void NoteDelivered(size_t offset, size_t count) {
        if (mIsDelivered.size() < offset + count) mIsDelivered.resize(offset + count);
        uint64_t fresh = 0;
        for (size_t at = offset; at < offset + count; at++) fresh += !mIsDelivered[at];
        for (size_t at = offset; at < offset + count; at++) mIsDelivered[at] = true;
        Allow(fresh, 0);
    }
    host::DataSource* mInner;
    std::vector<bool> mIsDelivered;
};

/** The queries. Each but the flags opens the stream, until an open succeeds. True if the track was
    started. */
bool AskEverything(kelflac_host::Player* player, MeteredSource* source, AMediaFormat* format) {
    size_t tracks = 0;
    const auto query = [&](auto ask) {
        Allow(0, 1);
        if (tracks == 0) source->Forget();
        meter.zeroed = 0;
        ask();
    };
    query([&] { tracks = player->CountTracks(); });
    query([&] { player->Flags(); });
    query([&] { player->TrackFormat(format); });
    query([&] { player->FileMeta(format); });
    bool started = false;
    query([&] { started = player->Start() == AMEDIA_OK; });
    return started;
}

/** Reads until the stream ends, or too many reads in a row are refused. */
void ReadToTheEnd(kelflac_host::Player* player) {
    constexpr int kMostIdle = 16;  // so many refusals in a row, without a new byte, end the reads
    uint64_t delivered = 0;
    for (int idle = 0; idle < kMostIdle; ++idle) {
        Allow(0, 1);
        const media_status_t status = player->Next().status;
        if (status == AMEDIA_ERROR_END_OF_STREAM) return;
        if (status == AMEDIA_OK || meter.bill.bytes > delivered) idle = 0;
        delivered = meter.bill.bytes;
    }
}

}  // namespace

Bill MeterLife(const char* name, host::DataSource* inner) {
    MeteredSource source(inner);
    const kelflac_host::Owned<AMediaFormat> format(AMediaFormat_new());
    meter = {};
    meter.name = name;
    Allow(0, 2);  // the sniffer and the tear-down
    meter.is_running = true;
    {
        kelflac_host::Player player(GETEXTRACTORDEF(), source.slots());
        if (player.extractor != nullptr && AskEverything(&player, &source, format.get()))
            ReadToTheEnd(&player);
    }
    meter.is_running = false;
    return meter.bill;
}

}  // namespace kelflac_test

using kelflac_test::Spend;

// libFuzzer looks here for what an input has newly reached: first the blocks that ran, then an
// entry for each percent of the law. Other programs ignore it.
constexpr uint32_t kMostBlocks = 1 << 13, kPercents = 101;
__attribute__((
    section("__libfuzzer_extra_counters"))) static uint8_t reached[kMostBlocks + kPercents];

void kelflac_test::TellMost(const Bill& bill) {
    static uint64_t most = 0;
    std::fill_n(reached + kMostBlocks, bill.Percent() + 1, uint8_t{1});
    if (bill.Percent() <= most) return;
    most = bill.Percent();
    fprintf(stderr,
            "%s: %" PRIu64 " %% of the law, %" PRIu64 " blocks for %" PRIu64 " bytes and %" PRIu64
            " calls\n",
            kelflac_test::meter.name, most, bill.blocks, bill.bytes, bill.calls);
}

// The library's blocks call these two. The linker sends the calls here: libFuzzer has its own ones.
extern "C" void __wrap___sanitizer_cov_trace_pc_guard_init(uint32_t* start, uint32_t* stop) {
    static uint32_t blocks = 0;
    if (start == stop || *start != 0) return;
    for (uint32_t* guard = start; guard < stop; ++guard) *guard = ++blocks;
    if (blocks >= kMostBlocks) abort();
}
extern "C" void __wrap___sanitizer_cov_trace_pc_guard(const uint32_t* guard) {
    Spend(1);
    if (reached[*guard] != UINT8_MAX) ++reached[*guard];
}

// All but memcmp replace the C library's functions, in the platform's libraries too.
#pragma GCC visibility push(default)
extern "C" {
void* __memcpy_chk(void* to, const void* from, size_t size, size_t room);
void* __memmove_chk(void* to, const void* from, size_t size, size_t room);
void* __memset_chk(void* to, int byte, size_t size, size_t room);
int __real_memcmp(const void* a, const void* b, size_t size);

void* memcpy(void* to, const void* from, size_t size) {
    Spend(size / kelflac_test::kUnit);
    return __memcpy_chk(to, from, size, size);
}
void* memmove(void* to, const void* from, size_t size) {
    Spend(size / kelflac_test::kUnit);
    return __memmove_chk(to, from, size, size);
}
void* memset(void* to, int byte, size_t size) {
    using namespace kelflac_test;
    AllowZeros(size);
    Spend(size / kUnit);
    return __memset_chk(to, byte, size, size);
}
void* __libc_calloc(size_t count, size_t size);
void* calloc(size_t count, size_t size) {
    kelflac_test::AllowZeros(count * size);
    return __libc_calloc(count, size);
}
size_t strlen(const char* text) {
    const auto size = static_cast<size_t>(static_cast<const char*>(rawmemchr(text, 0)) - text);
    Spend(size / kelflac_test::kUnit);
    return size;
}
int __wrap_memcmp(const void* a, const void* b, size_t size) {
    Spend(size / kelflac_test::kUnit);
    return __real_memcmp(a, b, size);
}
}
#pragma GCC visibility pop
