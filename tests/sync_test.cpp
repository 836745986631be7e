// The search for sync codes, with each block type that this machine can run, compared with a look
// at one position after another.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "libextractor/flac/demuxer/kelflacfd_sync.h"
#include "tools/streams/stream_builder.h"

namespace kelflac_test {

using kelflac_streams::Bytes;

/** Searches bytes of which the first `cut` are at the ring's end and the others at its start:
    forward from each place to the end, from place 1 to each place, and backward from each place.
    Each run has its own memory: sanitizers notice a look beyond it. */
template <typename BLOCK>
static void Compare(const Bytes& bytes, size_t cut) {
    if (testing::Test::HasFailure()) return;  // one report is enough
    const auto middle = bytes.begin() + static_cast<ptrdiff_t>(cut);
    const Bytes first(bytes.begin(), middle), second(middle, bytes.end());
    const KELFLACF_FAL_RUNS runs = {{first.data(), static_cast<int32_t>(first.size())},
                                    {second.data(), static_cast<int32_t>(second.size())}};
    const auto limit = static_cast<int>(bytes.size()) - 1;
    std::vector<int> codes;
    for (size_t at = 0; at + 1 < bytes.size(); ++at)
        if (bytes[at] == 0xFF && bytes[at + 1] >> 1 == 0x7C) codes.push_back(static_cast<int>(at));
    codes.push_back(limit);  // what a search without a code gives
    for (int place = 0; place <= limit; ++place) {
        const auto next = std::lower_bound(codes.begin(), codes.end(), place);
        const int from = *next, below = next != codes.begin() ? next[-1] : -1;
        const int start = std::min(1, place);
        const int up_to = std::min(*std::lower_bound(codes.begin(), codes.end(), start), place);
        const std::array<int, 5> found = {sync_search::find_far<BLOCK>(runs, place, limit),
                                          sync_search::find_far<BLOCK>(runs, start, place),
                                          sync_search::find_last<BLOCK>(runs, place),
                                          find_sync_code(runs, place, limit),
                                          find_sync_code(runs, start, place)};
        ASSERT_EQ(found, (std::array<int, 5>{from, up_to, below, from, up_to}))
            << "first code from P, first in 1 to P, last below P, the first two again; P is "
            << place << ", the ring ends after " << cut << " of the bytes "
            << testing::PrintToString(bytes);
    }
}

template <typename BLOCK>
struct SyncSearch : testing::Test {};
using Blocks = testing::Types<KELFLACFD_SYNC_BLOCK, KELFLACFD_SYNC_BLOCK_WORD>;
TYPED_TEST_SUITE(SyncSearch, Blocks, );  // without the last comma -Wpedantic warns

TYPED_TEST(SyncSearch, FindsACodeAtEachPlaceAmongBytes0xFF) {
    constexpr size_t kSize = sync_search::ROUND_BYTES<TypeParam> + 3 * TypeParam::POSITIONS;
    for (size_t place = 0; place + 1 < kSize; ++place) {
        Bytes bytes(kSize, 0xFF);
        bytes[place + 1] = 0xF9;
        for (size_t cut = 1; cut <= kSize; ++cut) Compare<TypeParam>(bytes, cut);
    }
}

TYPED_TEST(SyncSearch, JudgesEachPairOfBytesAmongNearMisses) {
    constexpr size_t kSize = 2 * TypeParam::POSITIONS + 3;
    constexpr uint8_t kNearMisses[] = {0xFE, 0xF8, 0x7F, 0xFF, 0xFA, 0xFF, 0xF7, 0x01, 0xF9, 0x00};
    Bytes bytes(kSize);
    for (size_t pair = 0; pair < 0x10000; ++pair) {
        const size_t place = pair % (kSize - 1);
        for (size_t i = 0; i < kSize; ++i) bytes[i] = kNearMisses[(pair + i) % sizeof(kNearMisses)];
        bytes[place] = static_cast<uint8_t>(pair >> 8);
        bytes[place + 1] = static_cast<uint8_t>(pair);
        Compare<TypeParam>(bytes, pair % 3 == 0 ? place + 1 : kSize);
    }
}

}  // namespace kelflac_test
