// The extractor: track format, file metadata, failed opens.
#include <gtest/gtest.h>
#include <host/binder.h>

#include "libextractor/flac/demuxer/kelflacfd_internal.h"
#include "libextractor/flac/kelflac_file_meta.h"
#include "libextractor/mfal/kelcmn_mfal_android_q.h"
#include "tests/support/heap.h"
#include "tests/support/plugin_host.h"

namespace kelflac_test {

static const StreamBuilder kSound = StreamBuilder{}.Frames(0, 3, 100);
static const std::string kMime = "mime='audio/flac', ",
                         kLog = "4 KelFLACExtractorSO KelFLACExtractor::";

TEST(Extractor, PublishesTheTrackFormatWithAnEncodingForTheCaller) {
    // Bits, uid of the caller, encoding, number of queries of the uid.
    const std::tuple<uint32_t, uid_t, int, uint64_t> rows[] = {
        {16, 1013, 2, 0}, {17, 1013, 4, 1}, {24, 7, 2, 1}};
    for (const auto& [bits, uid, encoding, queries] : rows) {
        const StreamInfo info{1152, 1152, 77, 44100, 6, bits, 900, 100001, Bytes(16, 0xAB)};
        const Bytes csd = Cat({Text("csd-0=<fLaC"), Hex("80 00 00 22"), StreamInfoBody(info)});
        std::string expected(csd.begin(), csd.end());
        expected += ">, " + kMime + "durationUs=2267596L, channel-count=6, sample-rate=44100, " +
                    "bits-per-sample=" + std::to_string(bits) + ", max-input-size=102400, " +
                    "min-block-size=1152, max-block-size=1152, min-frame-size=77, " +
                    "max-frame-size=900, pcm-encoding=" + std::to_string(encoding) + ", ";
        SCOPED_TRACE(std::to_string(bits) + " bits, uid of the caller " + std::to_string(uid));
        const uint64_t before = host::callingUidQueries();
        host::setCallingUid(uid);
        EXPECT_EQ(Session(StreamBuilder(info).Frames(0, 3, 100).Build()).TrackFormat(), expected);
        EXPECT_EQ(host::callingUidQueries() - before, queries) << "queries of the uid";
    }
}

TEST(Extractor, PublishesTheFileMetadata) {
    const Bytes png = Text("PNG"), jpg = Text("JPG");
    const std::pair<StreamBuilder, std::string> rows[] = {
        {StreamBuilder(kSound).Picture({png}).Picture({jpg}).Comments(
             {"COMPILATION=1", "lyricist=l", "DATE=9-5", "TITLE=t", "GENRE=g", "COMPOSER=c",
              "AUTHOR=u", "ALBUM ARTIST=b", "ARTIST=r", "ALBUM=a", "DISCNUMBER=2",
              "TRACKNUMBER=3/12"}),
         "cdtracknum='3/12', discnum='2', album='a', artist='r', albumartist='b', author='u', "
         "composer='c', date='9-5', genre='g', title='t', year='9', writer='l', compilation="
         "'1', char-encoding-types='album=3:artist=3:albumartist=3:author=3:composer=3:date=3:"
         "genre=3:title=3:writer=3:', albumart=<PNG>, "},
        {StreamBuilder(kSound).Picture({{}}).Picture({jpg}).Comments(
             {"TITLE=", "DATE=May", "TRACKNUMBER=1234567890", "COMPILATION=3000000000"}),
         "cdtracknum='123456789', date='May', year='0', char-encoding-types='date=3:', "},
        {StreamBuilder(kSound).Picture({png}), "albumart=<PNG>, "}};
    for (const auto& [stream, expected] : rows)
        EXPECT_EQ(Session(stream.Build()).FileMeta(), expected + kMime);
}

/** The entries published from a tag record without numbers. */
static std::string Published(KELFLACFD_TAG tag) {
    const Owned<AMediaFormat> format(AMediaFormat_new());
    reset_tag_numbers(&tag);
    android::publishFileMeta(tag, format.get());
    return Entries(AMEDIA_OK, format.get());
}

TEST(FileMeta, ListsTheEncodingsThatItKnows) {
    uint8_t text[] = "t";
    const std::pair<uint32_t, const char*> rows[] = {
        {699, "title='', "},
        {700, "title='', char-encoding-types='title=0:', "},
        {702, "title='', char-encoding-types='title=2:', "},
        {703, "title='t', char-encoding-types='title=3:', "},
        {704, "title='', "}};
    for (const auto& [encoding, expected] : rows)
        EXPECT_EQ(Published({{encoding, 1, text}}), expected) << encoding;
}

TEST(FileMeta, LeavesOutAPictureWithoutABuffer) {
    KELFLACFD_TAG tag = {};
    tag.pic_num = 1;
    tag.pic[0] = {nullptr, 5};
    EXPECT_EQ(Published(tag), "");
}

TEST(Extractor, ZeroesTheReservedBytesOfItsParameterBlock) {
    heap_watched_size = sizeof(KELCMN_MFAL_PARAM);
    Session s(kSound.Build());
    EXPECT_EQ(s.CountTracks(), 1U);
    const auto* const block = static_cast<const uint8_t*>(heap_watched.load());
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(Bytes(block, block + 4096), Bytes(4096));
}

TEST(Extractor, OpensNothingForWhatNeedsNoStream) {
    Session s(kSound.Build());
    const auto [self, free, count, getTrack, format, getMeta, flags, cas, name] = *s.extractor;
    EXPECT_STREQ(name(self), "KelFLACExtractor");
    EXPECT_EQ(cas(self, nullptr, 0), -10005);
    EXPECT_EQ(flags(self), 4U);
    EXPECT_EQ(getTrack(self, 1), nullptr);
    EXPECT_EQ(format(self, s.meta, 1, 0), -10000);
    EXPECT_EQ(s.source.counts.size(), 0U);
}

TEST(Extractor, TriesAFailedOpenAgainForEachQuery) {
    Session s(Cat({Id3v2(0), Id3v2(0), kSound.Build()}));  // an open skips one tag, a sniff both
    EXPECT_EQ(s.CountTracks(), 0U);
    EXPECT_EQ(s.extractor->getTrack(s.extractor->data, 0), nullptr);
    EXPECT_EQ(s.TrackFormat(), "-10000");
    EXPECT_EQ(s.FileMeta(), "-10000");
    const std::string log = kLog + "init_kelflacfd() kelflacfd_create() failed!\n" + kLog +
                            "readMetaData() init_kelflacff error\n";
    EXPECT_EQ(TakeLog(), log + log + log + log);
    s.source.data = kSound.Build();
    EXPECT_EQ(s.FileMeta(), kMime);
    EXPECT_EQ(s.extractor->getMetaData(s.extractor->data, nullptr), 0) << "a failed copy is hidden";
}

TEST(Extractor, LogsWhatIsKnownOfAStreamWithoutASampleCount) {
    Session s(StreamBuilder({192, 192, 77, 8000, 2, 16, 900, 0}).Frames(0, 3, 300).Build());
    EXPECT_EQ(s.CountTracks(), 1U);
    EXPECT_EQ(TakeLog(),
              "3 - Info >>> info samples 0 hz 8000 ch 2 bits 16 duration 0 min_block 192 "
              "max_block 192 min_frm 77\n"
              "3 - Info >>>>>> fsize = 942 ctx->info.max_frm_size 900\n");
}

TEST(Extractor, AQueryDuringTheOpenStartsNoSecondOpen) {
    Session s(kSound.Build());
    Texts within;
    s.source.hook = [&](const Call& call) {
        if (call.op == "read" && call.index == 0) within.push_back(s.FileMeta());
    };
    EXPECT_EQ(s.FileMeta(), kMime);
    EXPECT_EQ(within, Texts{""}) << "there is no file metadata yet";
}

TEST(Extractor, HasNoCodecDataWithoutStreamInfo) {
    Bytes stream = kSound.Build();
    stream[4] = kPadding | kLastBlockFlag;
    EXPECT_EQ(Session(stream, UnknownSize).TrackFormat().find(kMime), 0U);
    EXPECT_NE(TakeLog().find(kLog + "kelflacfd_get_fmt() getsize failed -3\n"), std::string::npos);
}

}  // namespace kelflac_test
