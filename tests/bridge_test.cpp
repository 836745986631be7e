// The data-source bridge: the result and the log of each call. Many calls get a null handle.
#include <gtest/gtest.h>

#include "libextractor/mfal/kelcmn_mfal_android_q.h"
#include "tests/support/plugin_host.h"

namespace kelflac_test {

static const std::string kTag = "6 KelFLACExtractorSO ";

static std::string IsNull(const std::string& line, const std::string& argument) {
    const std::string place = "[libextractor/mfal/kelcmn_mfal_android_q.h:" + line + "]";
    return kTag + place + " assert failed! (" + argument + ")\n\n";
}

TEST(Bridge, EachCallHasItsResultAndItsLogLine) {
    MemorySource source(Bytes(10), [](Call& c) { c.result = c.op == "getsize" ? -7 : c.result; });
    android::DataSourceHelper helper(source.slots());
    KELCMN_MFAL_PARAM param = {{}, &helper}, no_source = {};
    _KELCMN_MFAL record = {{}, {}, {}, {}, {}, {}, {}, {}, {}, {}, &param, {}}, bare = record;
    bare.open_param = &no_source;
    void* const fp = kelcmn_mfal_open(&record, 18);
    long long n = 7, none = 0, five = 5, before = -5;
    char to[16];
    TakeLog();
    const struct {
        const char* call;
        int64_t result, expected;
        std::string expected_log, log = TakeLog();
    } rows[] = {
        {"open a null record", kelcmn_mfal_open(nullptr, 18) != nullptr, 0, IsNull("102", "mfal")},
        {"open a null source", kelcmn_mfal_open(&bare, 18) != nullptr, 0, kTag + "not supported\n"},
        {"close", (kelcmn_mfal_close(nullptr), 0), 0, IsNull("134", "fp")},
        {"read into nothing", kelcmn_mfal_read(nullptr, nullptr, 1), -1, IsNull("151", "buf")},
        {"read", kelcmn_mfal_read(nullptr, to, 1), -1, IsNull("152", "fp")},
        {"write", kelcmn_mfal_write(nullptr, to, 1), -1, IsNull("165", "fp")},
        {"getpos to nothing", kelcmn_mfal_getpos(nullptr, nullptr), -1, IsNull("174", "p")},
        {"getpos", kelcmn_mfal_getpos(nullptr, &n), -1, IsNull("175", "fp")},
        {"setpos to nothing", kelcmn_mfal_setpos(nullptr, nullptr), -1, IsNull("188", "p")},
        {"setpos", kelcmn_mfal_setpos(nullptr, &n), -1, IsNull("189", "fp")},
        {"skip nothing", kelcmn_mfal_skip(nullptr, nullptr), -1, IsNull("203", "fsize")},
        {"skip", kelcmn_mfal_skip(nullptr, &n), -1, IsNull("204", "fp")},
        {"getsize to nothing", kelcmn_mfal_getsize(nullptr, nullptr), -1, IsNull("224", "fsize")},
        {"getsize", kelcmn_mfal_getsize(nullptr, &n), -1, IsNull("225", "fp")},
        {"ioctl", kelcmn_mfal_ioctl(nullptr, 1, nullptr), -1, IsNull("239", "fp")},
        {"ioctl of nothing", kelcmn_mfal_ioctl(fp, 1, nullptr), -1, IsNull("240", "arg")},
        {"read 0 bytes into nothing", kelcmn_mfal_read(nullptr, nullptr, 0), 0, ""},
        {"write nothing", kelcmn_mfal_write(fp, nullptr, -1), 0, ""},
        {"ioctl of command 1, which is accepted", kelcmn_mfal_ioctl(fp, 1, to), 0, ""},
        {"ioctl of command 2, which is not", kelcmn_mfal_ioctl(fp, 2, to), -1, ""},
        {"a getsize that fails and stores -7", kelcmn_mfal_getsize(fp, &n), 0, ""},
        {"the size", n, -7, ""},
        {"skip 0", kelcmn_mfal_skip(fp, &none), -1, ""},
        {"skip 5", kelcmn_mfal_skip(fp, &five), 0, ""},
        {"read to the end", kelcmn_mfal_read(fp, to, 16), 5, ""},
        {"read at the end", kelcmn_mfal_read(fp, to, 16), 0, ""},
        {"skip past the end", kelcmn_mfal_skip(fp, &five), 0, ""},
        {"getpos there", kelcmn_mfal_getpos(fp, &n), 0, ""},
        {"the position", n, 15, ""},
        {"setpos before the start", kelcmn_mfal_setpos(fp, &before), 0, ""},
        {"read there", kelcmn_mfal_read(fp, to, 16), 0, ""},
        {"where the source was read", source.calls.back().pos, -5, ""},
    };
    kelcmn_mfal_close(fp);
    for (const auto& [call, result, expected, expected_log, log] : rows) {
        EXPECT_EQ(result, expected) << "the result of: " << call;
        EXPECT_EQ(log, expected_log) << "the log of: " << call;
    }
}

}  // namespace kelflac_test
