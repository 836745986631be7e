// The data-source bridge: every diagnostic, and what the callbacks make of odd sources.
#include <gtest/gtest.h>

#include "libextractor/mfal/kelcmn_mfal_android_q.h"
#include "tests/support/plugin_host.h"

namespace kelflac_test {

TEST(Bridge, NamesNullArgumentsAndKeepsAPosition) {
    MemorySource source(Text("0123456789"), UnknownSize);
    android::DataSourceHelper helper(source.slots());
    KELCMN_MFAL_PARAM param = {{}, &helper};
    _KELCMN_MFAL record = {{}, {}, {}, {}, {}, {}, {}, {}, {}, {}, &param, {}};
    void* const fp = kelcmn_mfal_open(&record, 18);
    long long n = 0;
    char to[16];
    TakeLog();
    EXPECT_EQ(kelcmn_mfal_open(nullptr, 18), nullptr);
    kelcmn_mfal_close(nullptr);
    EXPECT_EQ(kelcmn_mfal_read(nullptr, nullptr, 1) + kelcmn_mfal_read(nullptr, to, 1), -2);
    EXPECT_EQ(kelcmn_mfal_write(nullptr, to, 1) + kelcmn_mfal_write(fp, nullptr, -1), -1);
    EXPECT_EQ(kelcmn_mfal_getpos(nullptr, nullptr) + kelcmn_mfal_getpos(nullptr, &n), -2);
    EXPECT_EQ(kelcmn_mfal_setpos(nullptr, nullptr) + kelcmn_mfal_setpos(nullptr, &n), -2);
    EXPECT_EQ(kelcmn_mfal_skip(nullptr, nullptr) + kelcmn_mfal_skip(nullptr, &n), -2);
    EXPECT_EQ(kelcmn_mfal_getsize(nullptr, nullptr) + kelcmn_mfal_getsize(nullptr, &n), -2);
    EXPECT_EQ(kelcmn_mfal_ioctl(nullptr, 1, nullptr) + kelcmn_mfal_ioctl(fp, 1, nullptr), -2);
    std::string log, head = "6 KelFLACExtractorSO [libextractor/mfal/kelcmn_mfal_android_q.h:";
    for (const std::string row :
         {"102 mfal", "134 fp", "151 buf", "152 fp", "165 fp", "174 p", "175 fp", "188 p", "189 fp",
          "203 fsize", "204 fp", "224 fsize", "225 fp", "239 fp", "240 arg"})
        log += head + row.substr(0, 3) + "] assert failed! (" + row.substr(4) + ")\n\n";
    EXPECT_EQ(TakeLog(), log);

    EXPECT_EQ(kelcmn_mfal_setpos(fp, &(n = -5)), 0);
    EXPECT_EQ(kelcmn_mfal_read(fp, to, 16) + kelcmn_mfal_read(nullptr, nullptr, 0), 0);
    EXPECT_EQ(source.calls.back().pos, -5);
    EXPECT_EQ(kelcmn_mfal_skip(fp, &(n = 0)) + kelcmn_mfal_ioctl(fp, 2, to), -2);
    EXPECT_EQ(kelcmn_mfal_skip(fp, &(n = 12)) + kelcmn_mfal_ioctl(fp, 1, to), 0);
    EXPECT_EQ(kelcmn_mfal_read(fp, to, 16), 3);
    EXPECT_TRUE(kelcmn_mfal_getpos(fp, &n) == 0 && n == 10);
    EXPECT_TRUE(kelcmn_mfal_getsize(fp, &n) == 0 && n == 0);
    kelcmn_mfal_close(fp);
    param.data_source = nullptr;
    EXPECT_EQ(kelcmn_mfal_open(&record, 18), nullptr);
    EXPECT_EQ(TakeLog(), "6 KelFLACExtractorSO not supported\n");
}

}  // namespace kelflac_test
