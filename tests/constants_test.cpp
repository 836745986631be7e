// Numbers and sizes that other programs rely on.
#include <gtest/gtest.h>

#include "libextractor/mfal/kelcmn_mfal_android_q.h"
#include "tests/support/demuxer_host.h"

namespace kelflac_test {

TEST(Constants, KeepTheirValues) {
    const Opened open(StreamBuilder{}.Frames(0, 3, 200).Build());
    const std::tuple<const char*, int64_t, int64_t> rows[] = {
        {"magic of a context", open.ctx->magic, 0x464C4344},
        {"codec of an open stream", open.info.codec, 0xF1AC},
        {"frames found by search, without number 0", open.ctx->full_check_count, 244},
        {"bytes of the first ring", open.ctx->fal.size, 8192},
        {"bytes of a chunk", KELFLACF_FAL_CHUNK, 4096},
        {"bytes of the format", KELFLACFD_FMT_BYTES, 42},
        {"pictures", KELFLACFD_MAX_PICTURES, 16},
        {"reserved bytes of the parameters", sizeof(KELCMN_MFAL_PARAM::reserved), 4096},
        {"ticks in a second", KELFLACFD_TICKS_PER_SECOND, 10'000'000},
        {"lowest encoding", KELFLACFD_ENC_FIRST, 700},
        {"encoding UTF-8", KELFLACFD_ENC_UTF8, 703}};
    for (const auto& [what, value, expected] : rows) EXPECT_EQ(value, expected) << what;
}

TEST(Constants, StatusesCountDown) {
    const std::vector<int> statuses = {
        KELFLACFD_END,      KELFLACFD_OK,          KELFLACFD_E_HANDLE,
        KELFLACFD_E_MEMORY, KELFLACFD_E_MALFORMED, KELFLACFD_E_SOURCE,
        KELFLACFD_E_MARKER, KELFLACFD_E_VARIABLE,  KELFLACFD_E_FRAME_SIZE};
    EXPECT_EQ(statuses, (std::vector<int>{1, 0, -1, -2, -3, -4, -5, -6, -7}));
}

TEST(Records, KeepTheirSizes) {
    // With pointers of 64 and of 32 bits.
    const std::tuple<const char*, size_t, size_t, size_t> rows[] = {
        {"_KELCMN_MFAL", sizeof(_KELCMN_MFAL), 136, 68},
        {"KELCMN_MFAL_PARAM", sizeof(KELCMN_MFAL_PARAM), 4104, 4100},
        {"KELFLACFD_TXT", sizeof(KELFLACFD_TXT), 16, 12},
        {"KELFLACFD_PIC", sizeof(KELFLACFD_PIC), 16, 8},
        {"KELFLACFD_TAG", sizeof(KELFLACFD_TAG), 432, 264},
        {"KELFLACFD_INFO", sizeof(KELFLACFD_INFO), 72, 72}};
    for (const auto& [record, bytes, by_64_bits, by_32_bits] : rows)
        EXPECT_EQ(bytes, sizeof(void*) == 8 ? by_64_bits : by_32_bits) << record;
}

}  // namespace kelflac_test
