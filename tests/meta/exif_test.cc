#include "meta/exif.h"
#include "meta/jpeg_size.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/bytes.h"
#include "support/rows.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

std::string segment(unsigned marker, const std::string& body) {
    return big_endian_bytes(marker, 2) + big_endian_bytes(body.size() + 2, 2) + body;
}
// A JPEG of segments alone: SOI, the given ones, a frame header of this size.
std::string jpeg(const std::string& segments, int width = 1, int height = 1) {
    return "\xFF\xD8" + segments +
           segment(0xFFC0, "\x08" + big_endian_bytes(height, 2) + big_endian_bytes(width, 2) + "\x01\x01\x11\x00"s);
}

constexpr const char* kDate = "2005:07:14 10:00:00";

// Where things stand in the block of the corpus's camera: a directory's number of entries, then 12 bytes an entry.
constexpr std::size_t kIfd0 = 8, kDateText = 134, kExif = 154, kIfd1 = 264;
constexpr std::size_t entry(std::size_t directory, std::size_t index) {
    return directory + 2 + 12 * index;
}
constexpr std::size_t kDescription = entry(kIfd0, 0), kExifPointer = entry(kIfd0, 7);

using Change = std::pair<std::size_t, std::string>;

// A picture of that camera, its block with other bytes at some places, and more behind it.
std::string camera(std::initializer_list<Change> changes, const std::string& behind = {}, const char* order = "II") {
    std::string tiff = read_whole_file(PELORAMA_FUZZ_CORPUS "/fuzz_jpeg/camera_"s + order).substr(30, 1066);
    for (const auto& [at, bytes] : changes) tiff.replace(at, bytes.size(), bytes);
    return segment(0xFFE1, "Exif\0\0"s + tiff + behind);
}

PictureInfo read(const std::string& content, std::time_t modified = 1'000'000'000) {  // 2001-09-09
    const ScratchDirectory scratch;
    const std::string path = scratch.write("a.jpg", content);
    const timespec times[2] = {{modified, 0}, {modified, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    return exif_read_info(path);
}

TEST(Exif, BlocksOfBothByteOrdersWhereverTheyStand) {
    const std::string jfif = segment(0xFFE0, "JFIF\0\1\1\0\0\1\0\1\0\0"s), comment = segment(0xFFFE, "hello");
    for (const char* order : {"II", "MM"}) {
        for (const auto& before : {""s, jfif, comment, comment + jfif}) {
            const PictureInfo info = read(jpeg(before + camera({}, {}, order)));
            EXPECT_EQ(std::tuple(info.description, info.date, info.original_date),
                      std::tuple("A ship"s, "2005-07-14"s, kDate));
        }
        // A comment behind the JFIF header hides the block.
        EXPECT_EQ(read(jpeg(jfif + comment + camera({}, {}, order))).description, std::nullopt);
    }
}

TEST(Exif, TheFirstValueOfATagAndTheFramesSizeCount) {
    // The height as a long number; in the thumbnail's directory another description and another width.
    const std::string block =
        camera({{entry(kExif, 6) + 2, "\4"}, {entry(kIfd1, 0), "\x0E\1\2\0\4\0\0\0x\0\0\0\2\xA0\3\0\1\0\0\0\xA0"s}});
    EXPECT_EQ(read(jpeg(block, 640, 480)).width, 640);
    const PictureInfo info = read("\xFF\xD8" + block);  // no frame
    EXPECT_EQ(std::tuple(info.width, info.height, info.description), std::tuple(16, 12, "A ship"s));
}

TEST(Exif, PicturesAreDatedByTheCameraOrTheFile) {
    for (const auto& [date, expected] : Rows<std::string, const char*>{
             {"1931:01:02 00:00:00", "1931-01-02"},
             {"1930:12:31 23:59:59", "2001-09-09"},
             {"    :  :     :  :  ", "2001-09-09"},
             {"2005/07/14\0"s, "2005-07-14"},
             {"2005:0\0"s, "2005-0"},
         })
        EXPECT_EQ(read(jpeg(camera({{kDateText, date}}))).date, expected) << date;
    EXPECT_EQ(read(jpeg(""), 2'208'988'800).date, "2040-01-01");
    EXPECT_EQ(read(jpeg(""), 2'208'988'800).modified, INT32_MAX);
    EXPECT_EQ(read("").date, std::nullopt);
    EXPECT_EQ(read("").modified, 1'000'000'000) << "or it would be read at every scan";
    EXPECT_EQ(read("not a JPEG").date, "2001-09-09");
    EXPECT_EQ(exif_read_info("/nowhere.jpg").date, std::nullopt);
}

TEST(Exif, TextsLieWithinTheBlock) {
    const std::string text(1024, 'x');
    for (const auto& [count, value, expected] : Rows<std::size_t, std::string, Text>{
             {0, "\x8\0\0\0"s, {}},
             {16, "\xF8\xFF\xFF\xFF", {}},
             {16, "\2\0\0\0"s, {}},
             {3, "xx\0\0"s, "xx"},  // up to four bytes stand in the entry itself
             {4, "AB\0\0"s, "AB"},  // and what else fits: cut at the NUL
             {1024, little_endian_bytes(1066, 4), text.substr(1)},
             {1025, little_endian_bytes(1066, 4), {}},
         }) {
        const std::string block =
            camera({{kDescription + 4, little_endian_bytes(count, 4) + value}}, text.substr(0, count - 1) + '\0');
        EXPECT_EQ(read(jpeg(block)).description, expected) << count;
    }
}

TEST(Exif, ReadingEndsWhereDirectoriesDoNot) {
    const std::string next = std::string(1, '\x8') + std::string(3, '\0');
    for (const auto& [at, bytes, date] : Rows<std::size_t, std::string, const char*>{
             {kIfd0, "\xFF\xFF", "2005-07-14"},                    // entries up to the end count
             {entry(kIfd0, 8), next, "2005-07-14"},                // the next directory is the first
             {entry(kIfd0, 8), "\xFF\xFF\xFF\xFF", "2005-07-14"},  // or far away
             {kExifPointer + 8, next, "2005-07-14"},               // the camera's directory is the first
             {4, "\xFE\xFF\xFF\xFF", "2001-09-09"},                // the first one is far away
             {0, "XX", "2001-09-09"},
         })
        EXPECT_EQ(read(jpeg(camera({{at, bytes}}))).date, date) << at;
    const Change unnamed{kDescription, "\xFF"}, thumbnail{entry(kIfd1, 0), "\x0E\1\2\0\4\0\0\0ab\0\0"s};
    EXPECT_EQ(read(jpeg(camera({unnamed, thumbnail, {kIfd1, "\x32"}}))).description, "ab");
    EXPECT_EQ(read(jpeg(camera({unnamed, thumbnail, {kIfd1, "\x33"}}))).description, Text{}) << "no thumbnail has 51";
}

TEST(JpegFindSize, StopsAtTheFirstFrame) {
    const std::string good = jpeg("", 3, 4), behind_start = good.substr(2);
    for (const auto& [bytes, width, height] : Rows<std::string, int, int>{
             {jpeg(segment(0xFFE0, "x") + segment(0xFFC4, "xyz"), 65535, 1), 65535, 1},
             {good + jpeg("", 5, 6).substr(2), 3, 4},
             {"\xFF\xD8 junk " + behind_start, 3, 4},
             {"\xFF\xD8" + segment(0xFFC2, "\x08\x00\x04\x00\x03"s), 3, 4},  // progressive
             {"\xFF\xD8" + segment(0xFFC8, "\x08\x00\x04\x00\x03"s), 0, 0},  // no frame
             {"\xFF\xD8\xFF\x00"s + behind_start, 0, 0},
             // A segment that is too long, and one of length 0.
             {"\xFF\xD8\xFF\xE0\xFF\xF0" + behind_start, 3, 4},
             {"\xFF\xD8\xFF\xE0\x00\x00"s + behind_start, 3, 4},
             {"GIF89a" + good, 0, 0},
         }) {
        FileWindow window{as_bytes(bytes)};
        const JpegSize size = jpeg_find_size(window);
        EXPECT_EQ(std::pair(size.width, size.height), std::pair(width, height)) << bytes;
    }
    // In files larger than anybody could read through.
    const ScratchDirectory scratch;
    const std::string path = scratch.write("a.jpg", "\xFF\xD8");
    std::filesystem::resize_file(path, 400'000'000'000);
    EXPECT_EQ(exif_read_info(path).width, 0);
}

}  // namespace
