#include "meta/id3.h"

#include <gtest/gtest.h>

#include "support/mp3_builder.h"

using namespace std::string_literals;

namespace {

Id3v2Tag read(const std::string& file, TagCharset charset = TagCharset::ascii) {
    FileWindow window{as_bytes(file)};
    return id3_read_v2(window, charset);
}

// ---- the frames of a tag

// The fields that are there, then where the tag ends.
std::string described(const Id3v2Tag& tag) {
    std::string out;
    const std::pair<const char*, const Text*> texts[] = {{"title", &tag.title},
                                                         {"artist", &tag.artist},
                                                         {"album", &tag.album},
                                                         {"genre", &tag.genre},
                                                         {"year", &tag.year}};
    for (const auto& [name, text] : texts)
        if (*text) out += name + "="s + **text + " ";
    if (tag.track != 0) out += "track=" + std::to_string(tag.track) + " ";
    if (tag.picture_offset != 0) out += "picture=" + std::to_string(tag.picture_offset) + " ";
    return out + "end=" + std::to_string(tag.end);
}

struct FrameCase {
    const char* name;
    std::string file;
    std::string expected;
};
class Id3Frames : public testing::TestWithParam<FrameCase> {};

TEST_P(Id3Frames, BecomeFields) {
    EXPECT_EQ(described(read(GetParam().file)), GetParam().expected);
}

const std::string kTwoHundred(200, 'x');

INSTANTIATE_TEST_SUITE_P(
    Id3, Id3Frames,
    testing::ValuesIn<FrameCase>({
        {"v23",
         Id3Tag{3}
             .text("TIT2", "Song  ")
             .text("TPE1", "Band")
             .text("TALB", "Disc")
             .text("TYER", "2004")
             .text("TCON", "(17)")
             .text("TRCK", "07/12")
             .picture("jpeg")
             .bytes(),
         "title=Song artist=Band album=Disc genre=(17) year=2004 track=7 picture=113 end=131"},
        {"v22",
         Id3Tag{2}
             .text("TT2", "Song")
             .text("TP1", "Band")
             .text("TAL", "Disc")
             .text("TYE", "2004")
             .text("TCO", "Rock")
             .text("TRK", "3")
             .picture("jpeg")
             .bytes(),
         "title=Song artist=Band album=Disc genre=Rock year=2004 track=3 picture=79 end=89"},
        {"v24_frame_sizes_are_not_syncsafe", Id3Tag{4}.text("TIT2", kTwoHundred).text("TPE1", "Band").bytes(),
         "title=" + kTwoHundred + " artist=Band end=236"},
        {"copyright_behind_the_genre_wins", Id3Tag{3}.text("TCON", "Rock").text("TCOP", "2001 X").bytes(),
         "genre=2001 X end=42"},
        {"composer_is_no_genre", Id3Tag{3}.text("TCOM", "Someone").bytes(), "end=28"},
        {"last_frame_of_a_kind_wins", Id3Tag{3}.text("TIT2", "a").text("TIT2", "b").bytes(), "title=b end=34"},
        {"long_text_is_skipped_and_replaces",
         Id3Tag{3}.text("TIT2", "a").text("TIT2", std::string(1024, 'x')).text("TPE1", "Band").bytes(),
         "artist=Band end=1072"},
        {"text_of_1024_bytes_is_read", Id3Tag{3}.text("TIT2", std::string(1023, 'x')).bytes(),
         "title=" + std::string(1023, 'x') + " end=1044"},
        {"frame_size_0_ends_the_tag", Id3Tag{3}.text("TIT2", "a").frame("TPE1", "").text("TALB", "no").bytes(),
         "title=a end=45"},
        {"frame_size_beyond_the_tag_ends_it",
         Id3Tag{3}.text("TIT2", "a").frame_with_size("TPE1", 0xFFFFFFFF, "").text("TALB", "no").bytes(),
         "title=a end=45"},
        {"padding_ends_the_tag", Id3Tag{3}.text("TIT2", "a").padding(40).text("TALB", "no").bytes(), "title=a end=75"},
        {"footer_id_ends_the_tag", Id3Tag{4}.text("TIT2", "a").frame("3DI ", "xx").text("TALB", "no").bytes(),
         "title=a end=47"},
        {"extended_header_is_stepped_over", Id3Tag{3}.extended_header(4).text("TIT2", "Song").bytes(),
         "title=Song end=29"},
        {"extended_header_beyond_the_tag", Id3Tag{3}.extended_header(1000).text("TIT2", "Song").bytes(), "end=29"},
        {"second_tag_directly_behind", Id3Tag{3}.text("TIT2", "a").bytes() + Id3Tag{3}.text("TPE1", "b").bytes(),
         "title=a artist=b end=22"},
        {"second_tag_behind_padding_is_not_seen",
         Id3Tag{3}.text("TIT2", "a").padding(20).bytes() + Id3Tag{3}.text("TPE1", "b").bytes(), "title=a end=42"},
        {"tag_size_is_capped", Id3Tag{3}.text("TIT2", "a").announce(0x0FFFFFFF).bytes(), "title=a end=200000"},
        {"version_1_and_5_are_unknown", Id3Tag{5}.text("TIT2", "a").bytes(), "end=0"},
        {"no_tag", mpeg_frames(1), "end=0"},
        {"empty_file", "", "end=0"},
    }),
    [](const auto& one) { return std::string{one.param.name}; });

// Frame positions count from the start of the file in every tag, so the unknown frame of the second tag leads back into
// the first one's title, where "NEXT" is read as a frame header.
TEST(Id3, AFrameOfASecondTagIsSoughtFromTheStartOfTheFile) {
    const std::string inner = "TPE1"s + big_endian_bytes(3, 4) + "\0\0"s + "\0Me"s;
    const std::string first = Id3Tag{3}.text("TIT2", inner).bytes();  // the inner frame begins at 21
    const std::string second = Id3Tag{3}.frame_with_size("XXXX", 1, "").announce(24).bytes();
    EXPECT_EQ(read(first + second).artist, "Me");
}

// ---- texts

struct TextCase {
    const char* name;
    std::string data;
    Text ascii, utf8;
};
class Id3Text : public testing::TestWithParam<TextCase> {};

TEST_P(Id3Text, IsDecoded) {
    EXPECT_EQ(id3_frame_text(as_bytes(GetParam().data), TagCharset::ascii), GetParam().ascii);
    EXPECT_EQ(id3_frame_text(as_bytes(GetParam().data), TagCharset::utf8), GetParam().utf8);
}

const std::string kUmlaut = "\xC3\x9C";        // U+00DC
const std::string kClef = "\xF0\x9D\x84\x9E";  // U+1D11E, a surrogate pair in UTF-16
INSTANTIATE_TEST_SUITE_P(Id3, Id3Text,
                         testing::ValuesIn<TextCase>({
                             {"latin1_stays_bytes",
                              "\0B\xFC"
                              "cher "s,
                              "B\xFC"
                              "cher",
                              "B\xFC"
                              "cher"},
                             {"utf8_stays_bytes", "\3"s + kUmlaut, kUmlaut, kUmlaut},
                             {"ends_at_nul", "\0one\0two"s, "one", "one"},
                             {"nothing_but_blanks", "\0   "s, "", ""},
                             {"encoding_byte_alone", "\0"s, "", ""},
                             {"utf16_little", "\1"s + utf16_bytes(U"\u00DCbung ", true), "?bung", kUmlaut + "bung"},
                             {"utf16_big", "\1"s + utf16_bytes(U"\u00DCbung", false), "?bung", kUmlaut + "bung"},
                             {"utf16_other_mark_is_big", "\1xx\0A\0B"s, "AB", "AB"},
                             {"utf16_pair", "\1"s + utf16_bytes(U"a\U0001D11Eb", true), "a??b", "a"s + kClef + "b"},
                             {"utf16_lone_halves", "\2\xDD\x1E\xD8\x34\0b\xD8\x34"s, "??b?", "??b?"},
                             {"utf16_zero_unit_ends", "\2\0A\0\0\0B"s, "A", "A"},
                             {"utf16_odd_byte_is_dropped", "\2\0A\0"s, "A", "A"},
                             {"utf16_mark_alone", "\1\xFF\xFE"s, "", ""},
                             {"utf16_half_a_mark", "\1\xFF"s, "", ""},
                             {"utf16_encoding_byte_alone", "\1"s, "", ""},
                             {"unknown_encoding", "\4text"s, std::nullopt, std::nullopt},
                             {"no_bytes", "", std::nullopt, std::nullopt},
                         }),
                         [](const auto& one) { return std::string{one.param.name}; });

// ---- ID3v1

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
    EXPECT_FALSE(id3_read_v1(as_bytes(block.substr(0, 127))));
}

// ---- hostile tags: each must come to an end, and quickly

TEST(Id3, TagsThatLeadBackIntoThemselvesEnd) {
    // A second tag whose extended header points to the first frame, so that both are met again and again.
    const std::string first = Id3Tag{3}.text("TIT2", "Song").bytes();
    const std::string loop = Id3Tag{3}.extended_header(0).announce(15).bytes();
    EXPECT_EQ(read(first + loop).title, "Song");
    // One that points at itself without any frame between: position and tag end are both 25.
    const std::string self = Id3Tag{3}.extended_header(15).announce(15).bytes();
    EXPECT_EQ(read(first + self).title, "Song");
    // Every header of a large file is a tag, and each goes round the whole file.
    std::string many;
    while (many.size() < 200'000) many += "ID3\3" + big_endian_bytes(10, 4) + "\x7F\x7F" + "0123456789"s;
    EXPECT_FALSE(read(many).title);
}

}  // namespace
