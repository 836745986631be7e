// Vorbis comments and pictures, as the plug-in publishes them.
#include <gtest/gtest.h>

#include "tests/support/plugin_host.h"

namespace kelflac_test {

/** The published tags but for MIME type and encodings, then "0" when the first frame follows, or
    "1" when the walk left the reader elsewhere than at the end of the metadata. */
static std::string Published(const StreamBuilder& metadata) {
    Session s(StreamBuilder(metadata).Frames(0, 3, 200).Build());
    std::string tags = s.FileMeta();
    const size_t encodings = tags.find("char-encoding-types");
    if (encodings != tags.npos) tags.erase(encodings, tags.find(":', ", encodings) + 4 - encodings);
    if (const size_t mime = tags.find("mime="); mime != tags.npos) tags.erase(mime);
    s.Start();
    return tags + (s.Read().bytes == FrameBytes({}, 200) ? "0" : "1");
}

TEST(Comments, Fields) {
    const std::pair<Texts, const char*> rows[] = {
        {{}, ""},
        {{"tItLe=One", "TITLE=Two"}, "title='One', "},
        {{"TITLE=", "TITLE=Two"}, ""},
        {{"ALBUM ARTIST=X", "ALBUMARTIST=Y"}, "albumartist='X', "},
        {{"ALBUMARTIST=Y", "ALBUM ARTIST=X"}, "albumartist='Y', "},
        {{"TITLE =X", "TITLESORT=X", "", "T", "TITLE", "[ITLE=X", "T\xC9TLE=X"}, ""},
        {{"TRACKNUMBER=7"}, "cdtracknum='7', "},
        {{"TRACKNUMBER=3/"}, "cdtracknum='3/0', "},
        {{"TRACKNUMBER=x/1", "TITLE=t"}, "cdtracknum='0', title='t', "},
        {{"TRACKNUMBER=3/12x", "TITLE=t"}, "cdtracknum='3/12', title='t', "},
        {{"TRACKNUMBER=1/10", "TRACKNUMBER=2"}, "cdtracknum='2/10', "},
        {{"DISCNUMBER=1/2", "TITLE=t"}, "discnum='1', title='t', "},
        {{"COMPILATION="}, "compilation='0', "},
        {{"DATE=", "TITLE=t"}, "title='t', year='0', "},
        {{"DATE=2019-05-01", "DATE=2020"}, "date='2019-05-01', year='2019', "},
        {{"DATE=99999999999"}, "date='99999999999', year='121575219', "},  // modulo 2^32, 9 digits
        {{"DISCNUMBER=4294967295", "COMPILATION=2147483648"}, ""},         // negative: absent
    };
    for (const auto& [comments, expected] : rows) {
        EXPECT_EQ(Published(StreamBuilder{}.Comments(comments)), expected + std::string("0"));
    }
}

TEST(Comments, ANumberEndsWithItsComment) {
    // The next comment's length, 55, reads as the digit 7.
    const Texts comments = {"DISCNUMBER=1", "TITLE=" + std::string(49, 't')};
    EXPECT_EQ(Published(StreamBuilder{}.Comments(comments)),
              "discnum='1', title='" + std::string(49, 't') + "', 0");
}

TEST(Comments, AKeyPastTheBufferedBytesIsNotRecognised) {
    for (size_t in_sight : {0U, 1U, 5U, 6U, 7U}) {  // of the comment, in the first 4096 bytes
        const size_t vendor = 4096 - 42 - 16 - in_sight;
        const Bytes body = Cat({Le(vendor, 4), Bytes(vendor), Le(1, 4), Le(7, 4), Text("TITLE=t")});
        EXPECT_EQ(Published(StreamBuilder{}.Block(kVorbisComment, body)),
                  in_sight == 0 || in_sight >= 6 ? "title='t', 0" : "0")
            << in_sight;
    }
}

TEST(Comments, ASecondBlockResetsTheNumbers) {
    const StreamBuilder first =
        StreamBuilder{}.Comments({"TITLE=One", "DATE=1999", "DISCNUMBER=4"});
    EXPECT_EQ(Published(StreamBuilder(first).Comments({"TITLE=Two"})),
              "date='1999', title='One', 0");
    EXPECT_EQ(Published(StreamBuilder(first).Comments({"DATE=2020"})),
              "date='1999', title='One', year='1999', 0");
}

}  // namespace kelflac_test
