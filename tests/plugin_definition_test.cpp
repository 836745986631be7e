// The definition and the sniffer.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/plugin_host.h"

namespace kelflac_test {

TEST(Definition, IsTheSameOnEveryCall) {
    void* const library = dlopen(KELFLAC_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto get = reinterpret_cast<android::GetExtractorDef>(dlsym(library, "GETEXTRACTORDEF"));
    const android::ExtractorDef d = get(), again = get();
    const Bytes uuid = Hex("1D BE FB 4D 2D 82 4B 58 AB 40 02 B0 E3 74 7E 8D");
    EXPECT_EQ(memcmp(d.extractor_uuid.b, uuid.data(), 16), 0);
    EXPECT_TRUE(d.def_version == 3 && d.extractor_version == 1 && !memcmp(&d, &again, sizeof(d)));
    EXPECT_STREQ(d.extractor_name, "Nuvo FLAC Extractor");
    const char** const types = d.u.v3.supported_types;
    EXPECT_TRUE(types[0] == std::string("flac") && types[1] == nullptr);
}

TEST(Sniffer, ClaimsTheMarkerBehindAnyTags) {
    const Bytes flac = Text("fLaC123456"), nine = Text("fLaC12345");
    const std::tuple<Bytes, bool, long long> rows[] = {
        // the last: where the last read began
        {flac, true, 0},
        {nine, false, 0},
        {{}, false, 0},  // a failing source
        {Cat({Id3v2(0), Id3v2(20000), Id3v2(1), flac}), true, 20031},
        {Cat({Id3v2(257), nine}), false, 267},
        {Cat({Id3v2(3 << 20), flac}), true, (3 << 20) + 10},
        {Hex("49 44 33 04 00 00 7F 7F 7F 7F"), false, (1 << 28) + 9},
        {Cat({Hex("49 44 33 FF FF FF 80 80 80 80"), flac}), true, 10},  // size 0
        {Cat({Id3v2(30, 0, true), flac}), false, 40},                   // with a footer
        {Cat({Text("id3"), Bytes(7), flac}), false, 0},
        {Text("flac123456"), false, 0},
    };
    for (const auto& [bytes, claimed, at] : rows) {
        MemorySource source(bytes);
        if (bytes.empty()) source.hook = [](Call& call) { call.result = -1; };
        float confidence = -1;
        void* meta = &source;
        android::FreeMetaFunc kept = [](void*) {}, free_meta = kept;
        const auto sniff = GETEXTRACTORDEF().u.v3.sniff;
        EXPECT_EQ(sniff(source.slots(), &confidence, &meta, &free_meta) != nullptr, claimed);
        EXPECT_EQ(memcmp(&confidence, claimed ? "\x33\x33\x33\x3F" : "\0\0\x80\xBF", 4), 0);
        EXPECT_EQ(meta, &source);
        EXPECT_EQ(free_meta, kept);
        EXPECT_EQ(source.calls.back().pos, at);
    }
}

}  // namespace kelflac_test
