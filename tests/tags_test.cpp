// Vorbis comments and pictures, as the plug-in publishes them.
#include <gtest/gtest.h>

#include "tests/support/demuxer_host.h"
#include "tests/support/plugin_host.h"

namespace kelflac_test {

static const Bytes kTitle = Cat({Le(7, 4), Text("TITLE=t")});

/** The published tags but for MIME type and encodings, and the number of the first frame found,
    which is not 0 when the walk left the reader elsewhere than at the end of the metadata. */
static std::string Published(const StreamBuilder& metadata, bool size_known = true) {
    Session s(StreamBuilder(metadata).Frames(0, 3, 200).Build(), size_known);
    std::string tags = s.FileMeta();
    const size_t encodings = tags.find("char-encoding-types");
    if (encodings != tags.npos) tags.erase(encodings, tags.find(":', ", encodings) + 4 - encodings);
    if (const size_t mime = tags.find("mime="); mime != tags.npos) tags.erase(mime);
    if (s.Start() != AMEDIA_OK) return "refused";
    return tags + std::to_string(s.Read().bytes == FrameBytes({}, 200) ? 0 : 1);
}
static std::string PublishedComments(const Bytes& body) {
    return Published(StreamBuilder{}.Picture({Text("P")}).Block(kVorbisComment, body));
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
        {{"DATE=2019-05-01", "DATE=2020"}, "date='2019-05-01', year='2019', "},
        {{"DATE=99999999999"}, "date='99999999999', year='121575219', "},  // modulo 2^32, 9 digits
        {{"DISCNUMBER=4294967295", "COMPILATION=2147483648"}, ""},         // negative: absent
    };
    for (const auto& [comments, expected] : rows) {
        EXPECT_EQ(Published(StreamBuilder{}.Comments(comments)), expected + std::string("0"));
    }
}

TEST(Comments, LengthsPastTheBlock) {
    const auto body = [](uint32_t vendor, uint32_t count, const std::vector<Bytes>& rest) {
        return Cat({Le(vendor, 4), Le(count, 4), Cat(rest)});
    };
    const Bytes cut = {8, 0, 0, 0, 'A', 'L', 'B', 'U', 'M', '=', 'a'};
    const std::pair<Bytes, const char*> rows[] = {
        {body(0, 2, {kTitle, cut}), "title='t', albumart=<P>, 0"},
        {body(0, 2, {kTitle, Le(0xFFFFFFFF, 4), cut}), "title='t', albumart=<P>, 0"},
        {body(0, 9, {kTitle}), "title='t', albumart=<P>, 0"},
        {body(0, 2, {kTitle, {1, 2, 3}}), "title='t', albumart=<P>, 0"},  // no room for a length
        {body(0, 0xFFFFFFFF, {}), "albumart=<P>, 0"},
        {body(0, 1, {kTitle, kTitle}),
         "title='t', albumart=<P>, 0"},              // the rest is searched through
        {body(4, 1, {}), "albumart=<P>, 1"},         // vendor over the count
        {body(0x80000000, 1, {kTitle}), "refused"},  // takes the frames with it
        {Cat({Le(0, 4), Le(2, 4), kTitle, Le(5, 4), Text("DATE=")}),
         "title='t', year='0', albumart=<P>, 0"},
    };
    for (const auto& row : rows) EXPECT_EQ(PublishedComments(row.first), row.second);
    // Without a picture a failing block publishes nothing.
    EXPECT_EQ(Published(StreamBuilder{}.Block(kVorbisComment, rows[0].first)), "0");
    const Bytes many =
        body(0, 100001, {Bytes(400000), Le(30006, 4), Text("TITLE=" + std::string(30000, 'x'))});
    EXPECT_EQ(PublishedComments(many), "title='" + std::string(30000, 'x') + "', albumart=<P>, 0");
}

TEST(Comments, AKeyPastTheBufferedBytesIsNotRecognised) {
    for (size_t in_sight : {0U, 1U, 5U, 6U, 7U}) {  // of the comment, in the first 4096 bytes
        const size_t vendor = 4096 - 42 - 16 - in_sight;
        const Bytes body = Cat({Le(vendor, 4), Bytes(vendor), Le(1, 4), kTitle});
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

TEST(Pictures, SixteenAreStoredInStreamOrder) {
    StreamBuilder builder;
    for (uint8_t i = 0; i < 17; ++i) {
        builder.Picture({Bytes(i * 1000U, i), 4, i % 2 == 0 ? "" : "-->", std::string(i, 'd')});
    }
    Demuxer demuxer(builder.Comments({"TITLE=t"}).Frames(0, 3, 200).Build());
    const KELFLACFD_TAG& tag = *demuxer.info.tag;
    EXPECT_EQ(tag.pic_num, 16);
    EXPECT_EQ(tag.title.len, 1U) << "the walk went on behind the last picture";
    for (uint8_t i = 0; i < 16; ++i) {
        EXPECT_EQ(Bytes(tag.pic[i].data, tag.pic[i].data + tag.pic[i].len), Bytes(i * 1000U, i));
    }
}

TEST(Pictures, StatedLengths) {
    const struct {
        Maybe32 mime, description, data;
        const char *known, *unknown;  // what is published, by whether the source tells its size
    } rows[] = {
        {{}, {}, {}, "albumart=<P>, 0", "albumart=<P>, 0"},
        {{}, {}, 0, "0", "0"},  // stored, but empty
        {{}, {}, 1000, "0", "0"},
        {{}, {}, 0x7FFFFFFF, "0", "0"},
        {{}, {}, 0x80000000, "0", "0"},
        {{}, {}, 0xFFFFFFF0, "0", "0"},
        {0xFFFFFFFF, {}, {}, "0", "0"},
        {1000, {}, {}, "0", "refused"},  // skipped, with the frames
        {{}, 0x80000000, {}, "0", "0"},
        {{}, 1000, {}, "0", "refused"},
    };
    for (const auto& row : rows) {
        const auto& [mime, description, data, known, unknown] = row;
        const StreamBuilder stream =
            StreamBuilder{}.Picture({Text("P"), 3, "m", "d", mime, description, data});
        EXPECT_EQ(Published(stream), known) << &row - rows;
        EXPECT_EQ(Published(stream, false), unknown) << &row - rows;
    }
}

TEST(Tags, BytesThatTheSourceFailsToGiveReadAsZeros) {
    const Bytes art(20000, 'p');
    RecordingSource source(PictureBody({art}));
    source.hook = [](Call& call) {
        call.result = call.op == "read" && call.index == 2 ? 0 : call.result;
    };
    _KELCMN_MFAL record = source.Record();
    KELFLACFD_CTX ctx = {};
    kelflacf_fal_create(&ctx.fal, &record, 4096);
    ASSERT_EQ(parse_meta_pic(&ctx, static_cast<uint32_t>(source.data.size())), 0);
    const Bytes stored(ctx.tag_rec.pic[0].data, ctx.tag_rec.pic[0].data + ctx.tag_rec.pic[0].len);
    const size_t delivered = 8192 - (source.data.size() - art.size());
    EXPECT_EQ(stored, Cat({Bytes(delivered, 'p'), Bytes(art.size() - delivered)}));
    free(ctx.tag_rec.pic[0].data);
    kelflacf_fal_delete(&ctx.fal);
}

}  // namespace kelflac_test
