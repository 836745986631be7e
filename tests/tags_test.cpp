// Vorbis comments, as the plug-in publishes them and as the demuxer parses them.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/support/demuxer_host.h"
#include "tests/support/plugin_host.h"

namespace kelflac_test {

/** The published tags without MIME type and encodings. The first frame must follow the metadata. */
static std::string Published(const StreamBuilder& metadata) {
    Started s(StreamBuilder(metadata).Frames(0, 3, 200).Build());
    EXPECT_EQ(s.Read().bytes, FrameBytes({}, 200)) << "the metadata did not end at the first frame";
    const std::string tags = s.FileMeta();
    return tags.substr(0, std::min(tags.find("char-encoding-types"), tags.find("mime=")));
}

TEST(Comments, KeepTheFirstTextAndTheLastNumberOfEachKey) {
    const std::string fifty_five = "TITLE=" + std::string(49, '7');  // 55 is the code of "7"
    const std::pair<Texts, std::string> rows[] = {
        {{}, ""},
        {{"tItLe=One", "TITLE=Two"}, "title='One', "},
        {{"aRtist=X"}, "artist='X', "},
        {{"TITLE=", "TITLE=Two"}, ""},
        {{"ALBUM ARTIST=X", "ALBUMARTIST=Y"}, "albumartist='X', "},
        {{"ALBUMARTIST=Y", "ALBUM ARTIST=X"}, "albumartist='Y', "},
        {{"TITLE =X", "TITLESORT=X", "", "T", "TITLE", "[ITLE=X", "T\xC9TLE=X"}, ""},
        {{"TRACKNUMBER=7"}, "cdtracknum='7', "},
        {{"TRACKNUMBER=3/"}, "cdtracknum='3/0', "},
        {{"TRACKNUMBER=x/1", "TITLE=t"}, "cdtracknum='0', title='t', "},
        {{"TRACKNUMBER=3/12x", "TITLE=t"}, "cdtracknum='3/12', title='t', "},
        {{"TRACKNUMBER=1/10", "TRACKNUMBER=2"}, "cdtracknum='2/10', "},
        {{"OTHER=X", "TITLE=t"}, "title='t', "},
        {{"DISCNUMBER=1x", "TITLE=t"}, "discnum='1', title='t', "},
        {{"DISCNUMBER=1", fifty_five}, "discnum='1', title='" + std::string(49, '7') + "', "},
        {{"COMPILATION="}, "compilation='0', "},
        {{"DATE=", "TITLE=t"}, "title='t', year='0', "},
        {{"DATE=2019-05-01", "DATE=2020"}, "date='2019-05-01', year='2019', "},
        {{"DATE=99999999999"}, "date='99999999999', year='121575219', "},  // modulo 2^32, 9 digits
        {{"DISCNUMBER=4294967295", "COMPILATION=2147483648"}, ""},         // negative: absent
    };
    for (const auto& [comments, expected] : rows)
        EXPECT_EQ(Published(StreamBuilder{}.Comments(comments)), expected)
            << "of " << testing::PrintToString(comments);
}

TEST(Comments, AKeyThatIsPartlyBufferedIsNotRecognised) {
    for (size_t in_chunk : {0U, 1U, 5U, 6U, 7U}) {  // bytes of the comment in the first 4096
        const size_t vendor = 4096 - 42 - 16 - in_chunk;
        const Bytes body = Cat({Le(vendor, 4), Bytes(vendor), Le(1, 4), Le(7, 4), Text("TITLE=t")});
        EXPECT_EQ(Published(StreamBuilder{}.Block(kVorbisComment, body)),
                  in_chunk == 0 || in_chunk >= 6 ? "title='t', " : "")
            << in_chunk << " bytes of the comment are buffered";
    }
}

TEST(Comments, PastTheDataAreEmptyWhileTheBlockHasRoom) {
    // How many comments the block states, its bytes for them, the result.
    for (const auto& [count, room, status] :
         {std::tuple(2U, 12U, 0), {3U, 12U, 0}, {4U, 12U, -1}, {1U, 3U, -1}}) {
        const Bytes vendor(4), first_comment(4);  // lengths of 0
        Reader reader(Cat({vendor, Le(count, 4), first_comment}));
        KELFLACFD_TAG tag = {};
        EXPECT_EQ(parse_vorbis_comment(&reader, 8U + room, &tag), status)
            << count << " comments stated, " << room << " bytes for them";
        const int32_t numbers[] = {tag.year, tag.track_num, tag.track_total, tag.disc_num,
                                   tag.compilation};
        EXPECT_THAT(numbers, testing::Each(-1)) << "numbers without a comment";
    }
}

TEST(Comments, ANumberAtTheEndOfTheBufferedBytesDoesNotMoveTheSource) {
    const Bytes body = Cat({Le(4072, 4), Bytes(4072), Le(1, 4), Le(12, 4), Text("DISCNUMBER=7")});
    Reader reader(Cat({body, Bytes(5000)}));
    KELFLACFD_TAG tag = {};
    EXPECT_EQ(parse_vorbis_comment(&reader, 4096, &tag), 0);
    EXPECT_EQ(tag.disc_num, 7);
    EXPECT_EQ(reader.source.Lines("setpos"), Texts{});
}

TEST(Comments, ASecondBlockResetsTheNumbers) {
    const StreamBuilder first =
        StreamBuilder{}.Comments({"TITLE=One", "DATE=1999", "DISCNUMBER=4"});
    EXPECT_EQ(Published(StreamBuilder(first).Comments({"TITLE=Two"})),
              "date='1999', title='One', ");
    EXPECT_EQ(Published(StreamBuilder(first).Comments({"DATE=2020"})),
              "date='1999', title='One', year='1999', ");
}

}  // namespace kelflac_test
