// The definition and the sniffer.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include "tests/support/plugin_host.h"

namespace kelflac_test {

TEST(Definition, NamesThePluginOnEachCall) {
    void* const library = dlopen(KELFLAC_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto get = reinterpret_cast<android::GetExtractorDef>(dlsym(library, "GETEXTRACTORDEF"));
    const Bytes uuid = Hex("1D BE FB 4D 2D 82 4B 58 AB 40 02 B0 E3 74 7E 8D");
    for (const android::ExtractorDef& d : {get(), get()}) {
        EXPECT_EQ(Bytes(d.extractor_uuid.b, d.extractor_uuid.b + 16), uuid);
        EXPECT_EQ(d.def_version, 3U);
        EXPECT_EQ(d.extractor_version, 1U);
        EXPECT_STREQ(d.extractor_name, "Nuvo FLAC Extractor");
        EXPECT_STREQ(d.u.v3.supported_types[0], "flac");
        EXPECT_EQ(d.u.v3.supported_types[1], nullptr);
    }
}

TEST(Sniffer, ClaimsTheMarkerAfterAnyTags) {
    const Bytes flac = Text("fLaC123456"), nine = Text("fLaC12345");
    // The source's first bytes, whether it is claimed, the place of the last read.
    const std::tuple<const char*, Bytes, bool, int> rows[] = {
        {"the marker", flac, true, 0},
        {"nine bytes", nine, false, 0},
        {"a failing source", {}, false, 0},
        {"three tags", Cat({Id3v2(0), Id3v2(20000), Id3v2(1), flac}), true, 20031},
        {"a tag, then nine bytes", Cat({Id3v2(257), nine}), false, 267},
        {"a tag of 3 MiB", Cat({Id3v2(3 << 20), flac}), true, (3 << 20) + 10},
        {"a tag past the end", Hex("49 44 33 04 00 00 7F 7F 7F 7F"), false, (1 << 28) + 9},
        {"size 0", Cat({Hex("49 44 33 FF FF FF 80 80 80 80"), flac}), true, 10},
        {"a footer", Cat({Id3v2(30, 0, true), flac}), false, 40},
        {"a tag in lower case", Cat({Text("id3"), Bytes(7), flac}), false, 0},
        {"a marker in lower case", Text("flac123456"), false, 0},
        {"a marker with another end", Text("fLaK123456"), false, 0},
    };
    for (const auto& [what, bytes, claimed, at] : rows) {
        SCOPED_TRACE(what);
        MemorySource source(bytes);
        if (bytes.empty()) source.hook = [](Call& call) { call.result = -1; };
        float confidence = -1;
        void* meta = &source;
        android::FreeMetaFunc kept = [](void*) {}, free_meta = kept;
        const auto sniff = GETEXTRACTORDEF().u.v3.sniff;
        EXPECT_EQ(sniff(source.slots(), &confidence, &meta, &free_meta) != nullptr, claimed);
        EXPECT_EQ(confidence, claimed ? 0.7F : -1);
        EXPECT_EQ(meta, &source);
        EXPECT_EQ(free_meta, kept);
        EXPECT_EQ(source.calls.back().pos, at);
    }
}

}  // namespace kelflac_test
