#include "meta/id3.h"

#include <gtest/gtest.h>

#include "support/mp3_builder.h"
#include "support/rows.h"

using namespace std::string_literals;

namespace {

Id3v2Tag read(const std::string& file) {
    FileWindow window{as_bytes(file)};
    return id3_read_v2(window, TagCharset::ascii);
}

constexpr const char* kNames[] = {"title=", "artist=", "album=", "genre=", "year="};

// The fields that are there, then where the tag ends.
std::string described(const std::string& file) {
    const Id3v2Tag tag = read(file);
    std::string out;
    const Text* const texts[] = {&tag.title, &tag.artist, &tag.album, &tag.genre, &tag.year};
    for (const char* const* name = std::begin(kNames); const Text* text : texts) {
        if (*text) out += *name + **text + " ";
        ++name;
    }
    if (tag.track != 0) out += "track=" + std::to_string(tag.track) + " ";
    if (tag.picture_offset != 0) out += "picture=" + std::to_string(tag.picture_offset) + " ";
    return out + "end=" + std::to_string(tag.end);
}

const auto v23 = [] { return Id3Tag{3}; };
const auto titled = [] { return v23().text("TIT2", "a"); };

TEST(Id3, SyncsafeSizesHaveSevenBitsAByte) {
    EXPECT_EQ(id3_syncsafe(0x01020304), 0x00208184u);
}

TEST(Id3, FramesBecomeFields) {
    const std::string two_hundred(200, 'x'), longest(1023, 'x'), artist = v23().text("TPE1", "b").bytes();
    for (const auto& [name, file, expected] : Rows<const char*, std::string, std::string>{
             {"v2.3",
              v23().text("TIT2", "Song  ").text("TPE1", "Band").text("TALB", "Disc").text("TYER", "2004").bytes(),
              "title=Song artist=Band album=Disc year=2004 end=72"},
             {"v2.3 numbers", v23().text("TCON", "(17)").text("TRCK", "07/12").picture("jpeg").bytes(),
              "genre=(17) track=7 picture=51 end=69"},
             {"v2.2", Id3Tag{2}.text("TT2", "Song").text("TP1", "Band").text("TAL", "Disc").text("TYE", "2004").bytes(),
              "title=Song artist=Band album=Disc year=2004 end=54"},
             {"v2.2 numbers", Id3Tag{2}.text("TCO", "Rock").text("TRK", "3").picture("jpeg").bytes(),
              "genre=Rock track=3 picture=35 end=45"},
             {"v2.4 frame sizes are not syncsafe", Id3Tag{4}.text("TIT2", two_hundred).text("TPE1", "Band").bytes(),
              "title=" + two_hundred + " artist=Band end=236"},
             {"copyright, not the composer, wins over the genre",
              v23().text("TCON", "Rock").text("TCOP", "2001 X").text("TCOM", "Someone").bytes(), "genre=2001 X end=60"},
             {"last of a kind wins", titled().text("TIT2", "b").bytes(), "title=b end=34"},
             {"long text is skipped and replaces", titled().text("TIT2", longest + "x").text("TPE1", "Band").bytes(),
              "artist=Band end=1072"},
             {"1024 bytes are read", v23().text("TIT2", longest).bytes(), "title=" + longest + " end=1044"},
             {"size 0 ends", titled().frame("TPE1", "").text("TALB", "no").bytes(), "title=a end=45"},
             {"size beyond the tag ends", titled().frame("TPE1", "", 0xFFFFFFFF).text("TALB", "no").bytes(),
              "title=a end=45"},
             {"padding ends", titled().raw(std::string(40, '\0')).text("TALB", "no").bytes(), "title=a end=75"},
             {"footer ends", titled().frame("3DI ", "xx").text("TALB", "no").bytes(), "title=a end=47"},
             {"extended header", v23().extended_header(4).text("TIT2", "Song").bytes(), "title=Song end=29"},
             {"extended header beyond", v23().extended_header(1000).text("TIT2", "Song").bytes(), "end=29"},
             {"second tag directly behind", titled().bytes() + artist, "title=a artist=b end=22"},
             {"not behind padding", titled().raw(std::string(20, '\0')).bytes() + artist, "title=a end=42"},
             {"size is capped", titled().bytes(0x0FFFFFFF), "title=a end=200000"},
             {"unknown version", Id3Tag{5}.text("TIT2", "a").bytes(), "end=0"},
         })
        EXPECT_EQ(described(file), expected) << name;
}

TEST(Id3, FramesOfASecondTagAreSoughtFromTheStartOfTheFile) {
    // The unknown frame of the second tag leads back into the first one's title, where a frame header stands.
    const std::string first = v23().text("TIT2", v23().text("TPE1", "Me").bytes().substr(10)).bytes();
    EXPECT_EQ(read(first + v23().frame("XXXX", "", 1).bytes(24)).artist, "Me");
    // Nor does it end in a circle: an extended header that points to the first frame, so that both are met again and
    // again, and one that points at itself without any frame between (position and tag end are both 25).
    const std::string song = v23().text("TIT2", "Song").bytes();
    for (const std::size_t back : {0u, 15u})
        EXPECT_EQ(read(song + v23().extended_header(back).bytes(15)).title, "Song");
}

TEST(Id3, TextsAreDecoded) {
    const std::string umlaut = "\u00DC", clef = "\U0001D11E";  // the clef is a pair in UTF-16
    for (const auto& [data, ascii, utf8] : Rows<std::string, Text, Text>{
             {"\0\xFC.. "s, "\xFC..", "\xFC.."},  // bytes stay
             {"\3" + umlaut, umlaut, umlaut},
             {"\0one\0two"s, "one", "one"},
             {"\0"s, "", ""},
             {"\1\xFF\xFE\xDC\0b\0 \0"s, "?b", umlaut + "b"},
             {"\1\xFE\xFF\0\xDC\0b"s, "?b", umlaut + "b"},
             {"\1xx\0A\0B"s, "AB", "AB"},  // any other mark is big-endian's
             {"\1\xFF\xFE\x34\xD8\x1E\xDD\x62\0"s, "??b", clef + "b"},
             {"\2\xDD\x1E\xD8\x34\0b\xD8\x34"s, "??b?", "??b?"},  // lone halves
             {"\2\0A\0\0\0B"s, "A", "A"},
             {"\2\0A\0"s, "A", "A"},
             {"\1\xFF\xFE"s, "", ""},
             {"\4text"s, {}, {}},
             {"", {}, {}},
         }) {
        EXPECT_EQ(id3_frame_text(as_bytes(data), TagCharset::ascii), ascii) << data;
        EXPECT_EQ(id3_frame_text(as_bytes(data), TagCharset::utf8), utf8) << data;
    }
}

TEST(Id3v1, FieldsAreCutAtTheirWidthAndTrimmed) {
    const std::string block = Id3v1Block{.title = "A title that fills all its thirty bytes",
                                         .artist = "Band   ",
                                         .album = "Disc\0rest"s,
                                         .year = "1999",
                                         .comment = "7 bells",
                                         .track = 200,
                                         .genre = 17}
                                  .bytes();
    const auto tag = id3_read_v1(as_bytes(block));
    ASSERT_TRUE(tag);
    EXPECT_EQ(tag->title, "A title that fills all its thi");
    EXPECT_EQ(tag->artist, "Band");
    EXPECT_EQ(tag->album, "Disc");
    EXPECT_EQ(tag->year, 19997);  // the digits run on into the comment
    EXPECT_EQ(tag->track, -56);
    EXPECT_EQ(tag->genre, 17);
    EXPECT_FALSE(id3_read_v1(as_bytes("X"s + block.substr(1))));
}

}  // namespace
