#include "meta/exif.h"
#include "meta/jpeg_size.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/jpeg_builder.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

constexpr unsigned kDescription = 270, kDateTime = 306, kOriginal = 36867, kWidth = 40962, kHeight = 40963;
constexpr const char* kDate = "2005:07:14 10:00:00";

class Exif : public testing::Test {
protected:
    PictureInfo read(std::string_view content, std::time_t modified = 1'000'000'000) const {  // 2001-09-09
        const std::string path = scratch_.write("a.jpg", content);
        const timespec times[2] = {{modified, 0}, {modified, 0}};
        EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        return exif_read_info(path);
    }
    ScratchDirectory scratch_;
};

TEST_F(Exif, ReadsBlocksOfBothByteOrdersWhereverTheyStand) {
    const std::string jfif = jpeg_segment(0xFFE0, "JFIF\0\1\1\0\0\1\0\1\0\0"s), comment = jpeg_segment(0xFFFE, "hello");
    for (const bool little_endian : {true, false}) {
        const std::string exif = ExifBlock{little_endian}
                                     .text(ExifBlock::kIfd0, kDescription, "A ship")
                                     .text(ExifBlock::kIfd0, kDateTime, kDate)
                                     .text(ExifBlock::kExif, kOriginal, "2004:01:02 03:04:05")
                                     .text(ExifBlock::kIfd1, kDescription, "A thumbnail")
                                     .segment();
        for (const auto& before : {""s, jfif, comment, comment + jfif}) {
            const PictureInfo info = read(jpeg_head({before, exif}, 640, 480));
            EXPECT_EQ(info.description, "A ship");
            EXPECT_EQ(info.date, "2005-07-14");
            EXPECT_EQ(info.original_date, "2004:01:02 03:04:05");
        }
        // A comment behind the JFIF header hides the block.
        EXPECT_EQ(read(jpeg_head({jfif, comment, exif}, 640, 480)).description, std::nullopt);
    }
}

TEST_F(Exif, TakesTheFirstValueOfATagAndTheFramesSize) {
    const std::string sizes = ExifBlock{false}
                                  .short_value(ExifBlock::kExif, kWidth, 1024)
                                  .long_value(ExifBlock::kExif, kHeight, 768)
                                  .text(ExifBlock::kExif, kDescription, "first")
                                  .text(ExifBlock::kIfd1, kDescription, "second")
                                  .short_value(ExifBlock::kIfd1, kWidth, 160)
                                  .segment();
    EXPECT_EQ(read(jpeg_head({sizes}, 640, 480)).width, 640);
    const PictureInfo info = read("\xFF\xD8" + sizes);  // no frame
    EXPECT_EQ(info.width, 1024);
    EXPECT_EQ(info.height, 768);
    EXPECT_EQ(info.description, "first");
}

TEST_F(Exif, DatesPicturesByTheCameraOrTheFile) {
    for (const auto& [camera, expected] : {std::pair{"1931:01:02 00:00:00", "1931-01-02"},
                                           {"1930:12:31 23:59:59", "2001-09-09"},
                                           {"    :  :     :  :  ", "2001-09-09"},
                                           {"2005/07/14", "2005-07-14"},
                                           {"2005:0", "2005-0"}}) {
        const std::string exif = ExifBlock{true}.text(ExifBlock::kIfd0, kDateTime, camera).segment();
        EXPECT_EQ(read(jpeg_head({exif}, 1, 1)).date, expected) << camera;
    }
    EXPECT_EQ(read(jpeg_head({}, 1, 1), 2'208'988'800).date, "2040-01-01");
    EXPECT_EQ(read(jpeg_head({}, 1, 1), 2'208'988'800).modified, INT32_MAX);
    EXPECT_EQ(read("").date, std::nullopt);
    EXPECT_EQ(read("").modified, 1'000'000'000) << "or it would be read at every scan";
    EXPECT_EQ(read("not a JPEG").date, "2001-09-09");
    EXPECT_EQ(exif_read_info(scratch_ / "nowhere.jpg").date, std::nullopt);
}

TEST_F(Exif, TakesTextsThatLieWithinTheBlock) {
    const auto description = [&](ExifBlock block) { return read(jpeg_head({block.segment()}, 1, 1)).description; };
    const auto of_length = [&](std::size_t length) {
        return description(ExifBlock{true}.text(ExifBlock::kIfd0, kDescription, std::string(length, 'x')));
    };
    const auto raw = [&](std::uint32_t count, std::uint32_t offset) {
        return description(ExifBlock{true}.raw(ExifBlock::kIfd0, kDescription, 2, count, offset));
    };
    EXPECT_EQ(of_length(1023), std::string(1023, 'x'));
    EXPECT_EQ(of_length(1024), std::nullopt);
    EXPECT_EQ(of_length(2), "xx");  // stands in the entry itself
    EXPECT_EQ(raw(0, 8), std::nullopt);
    EXPECT_EQ(raw(16, 0xFFFFFFF8), std::nullopt);
    EXPECT_EQ(raw(16, 2), std::nullopt);
    // "AB" and what else fits: cut at the NUL.
    EXPECT_EQ(description(ExifBlock{true}.raw(ExifBlock::kIfd0, kDescription, 2, 4, 0x00004241)), "AB");
}

TEST_F(Exif, EndsWhereDirectoriesDoNot) {
    ExifBlock to_itself{true};
    to_itself.text(ExifBlock::kIfd0, kDateTime, kDate).long_value(ExifBlock::kIfd0, 34665, 8);
    EXPECT_EQ(read(jpeg_head({to_itself.segment()}, 1, 1)).date, "2005-07-14");

    std::string tiff = ExifBlock{false}.text(ExifBlock::kIfd0, kDateTime, kDate).tiff();
    const auto with = [&](std::size_t at, const std::string& bytes) {
        std::string changed = tiff;
        changed.replace(at, bytes.size(), bytes);
        return read(jpeg_head({jpeg_segment(0xFFE1, "Exif\0\0"s + changed)}, 1, 1)).date;
    };
    EXPECT_EQ(with(8, "\xFF\xFF"s), "2005-07-14");           // 65,535 entries: those before the end count
    EXPECT_EQ(with(22, "\0\0\0\x08"s), "2005-07-14");        // the next directory is the first
    EXPECT_EQ(with(22, "\xFF\xFF\xFF\xFF"s), "2005-07-14");  // or far away
    EXPECT_EQ(with(4, "\xFF\xFF\xFF\xFE"s), "2001-09-09");   // the first one is far away
    EXPECT_EQ(with(0, "XX"s), "2001-09-09");
    EXPECT_EQ(with(0, "MM"s), "2005-07-14");

    // Fifty-one entries are no thumbnail's.
    for (const unsigned more : {49U, 50U}) {
        ExifBlock block{true};
        block.text(ExifBlock::kIfd1, kDescription, "thumbnail");
        for (unsigned i = 0; i < more; ++i) block.short_value(ExifBlock::kIfd1, 1000 + i, 1);
        EXPECT_EQ(read(jpeg_head({block.segment()}, 1, 1)).description, more == 49 ? Text{"thumbnail"} : Text{});
    }
}

TEST(JpegFindSize, StopsAtTheFirstFrame) {
    struct {
        std::string bytes;
        int width, height;
    } const kCases[] = {
        {jpeg_head({jpeg_segment(0xFFE0, "x"), jpeg_segment(0xFFC4, "xyz")}, 65535, 1), 65535, 1},
        {jpeg_head({}, 3, 4) + jpeg_head({}, 5, 6).substr(2), 3, 4},
        {"\xFF\xD8 junk "s + jpeg_head({}, 3, 4).substr(2), 3, 4},
        {"\xFF\xD8"s + jpeg_segment(0xFFC2, "\x08\x00\x04\x00\x03"s), 3, 4},  // progressive
        {"\xFF\xD8"s + jpeg_segment(0xFFC8, "\x08\x00\x04\x00\x03"s), 0, 0},  // no frame
        {"\xFF\xD8\xFF\x00"s + jpeg_head({}, 3, 4).substr(2), 0, 0},
        // A segment that is too long, and one of length 0.
        {"\xFF\xD8\xFF\xE0\xFF\xF0"s + jpeg_head({}, 3, 4).substr(2), 3, 4},
        {"\xFF\xD8\xFF\xE0\x00\x00"s + jpeg_head({}, 3, 4).substr(2), 3, 4},
        {"GIF89a"s + jpeg_head({}, 3, 4), 0, 0},
    };
    for (const auto& row : kCases) {
        FileWindow window{as_bytes(row.bytes)};
        const JpegSize size = jpeg_find_size(window);
        EXPECT_EQ(size.width, row.width) << row.bytes;
        EXPECT_EQ(size.height, row.height) << row.bytes;
    }
}

// In files larger than anybody could read through.
TEST(JpegFindSize, LooksThroughTheFirstPartOfAFile) {
    const ScratchDirectory scratch;
    const std::string path = scratch.write("a.jpg", "\xFF\xD8");
    std::filesystem::resize_file(path, 400'000'000'000);
    EXPECT_EQ(exif_read_info(path).width, 0);
}

}  // namespace
