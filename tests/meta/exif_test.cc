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

enum Directory { kIfd0, kExif, kIfd1 };
constexpr unsigned kDescription = 270, kDateTime = 306, kOriginal = 36867, kWidth = 40962, kHeight = 40963;
constexpr unsigned kAscii = 2, kShort = 3, kLong = 4;
constexpr unsigned kExifPointer = 34665;

// An EXIF block from its definition.
class ExifBlock {
public:
    explicit ExifBlock(bool little_endian) : little_endian_(little_endian) {}

    // An entry as it stands, its value in its own four bytes; and an ASCII entry, with the NUL that it has to have.
    ExifBlock& raw(Directory directory, unsigned tag, unsigned type, unsigned count, unsigned value) {
        directories_[directory].push_back({tag, type, count, number(value, type == kShort ? 2 : 4)});
        return *this;
    }
    ExifBlock& text(Directory directory, unsigned tag, const std::string& value) {
        directories_[directory].push_back({tag, kAscii, value.size() + 1, value + '\0'});
        return *this;
    }

    // Each directory at a place of its own, and behind them the values that do not fit into their entries.
    std::string tiff() const {
        constexpr std::size_t kPlaces[] = {8, 512, 1024}, kValues = 2048;
        std::string out = (little_endian_ ? "II" : "MM") + number(42, 2) + number(kPlaces[kIfd0], 4), values;
        for (const Directory directory : {kIfd0, kExif, kIfd1}) {
            std::vector<Entry> entries = directories_[directory];
            if (directory == kIfd0 && !directories_[kExif].empty())
                entries.push_back({kExifPointer, kLong, 1, number(kPlaces[kExif], 4)});
            out.resize(kPlaces[directory], '\0');
            out += number(entries.size(), 2);
            for (auto& [tag, type, count, value] : entries) {
                const bool fits = value.size() <= 4;
                const std::string stored = fits ? value : number(kValues + values.size(), 4);
                out +=
                    number(tag, 2) + number(type, 2) + number(count, 4) + stored + std::string(4 - stored.size(), '\0');
                if (!fits) values += value;
            }
            out += number(directory == kIfd0 && !directories_[kIfd1].empty() ? kPlaces[kIfd1] : 0, 4);
        }
        out.resize(kValues, '\0');
        return out + values;
    }
    std::string bytes() const { return segment(0xFFE1, "Exif\0\0"s + tiff()); }

private:
    struct Entry {
        std::size_t tag, type, count;
        std::string value;  // as it is stored
    };
    std::string number(std::size_t value, std::size_t bytes) const {
        return little_endian_ ? little_endian_bytes(value, bytes) : big_endian_bytes(value, bytes);
    }
    bool little_endian_;
    std::vector<Entry> directories_[3];
};

constexpr const char* kDate = "2005:07:14 10:00:00";

PictureInfo read(const std::string& content, std::time_t modified = 1'000'000'000) {  // 2001-09-09
    const ScratchDirectory scratch;
    const std::string path = scratch.write("a.jpg", content);
    const timespec times[2] = {{modified, 0}, {modified, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    return exif_read_info(path);
}
PictureInfo read(const ExifBlock& block) {
    return read(jpeg(block.bytes()));
}

TEST(Exif, BlocksOfBothByteOrdersWhereverTheyStand) {
    const std::string jfif = segment(0xFFE0, "JFIF\0\1\1\0\0\1\0\1\0\0"s), comment = segment(0xFFFE, "hello");
    for (const bool little_endian : {true, false}) {
        const std::string exif = ExifBlock{little_endian}
                                     .text(kIfd0, kDescription, "A ship")
                                     .text(kIfd0, kDateTime, kDate)
                                     .text(kExif, kOriginal, "2004:01:02 03:04:05")
                                     .text(kIfd1, kDescription, "A thumbnail")
                                     .bytes();
        for (const auto& before : {""s, jfif, comment, comment + jfif}) {
            const PictureInfo info = read(jpeg(before + exif));
            EXPECT_EQ(std::tuple(info.description, info.date, info.original_date),
                      std::tuple("A ship"s, "2005-07-14"s, "2004:01:02 03:04:05"s));
        }
        // A comment behind the JFIF header hides the block.
        EXPECT_EQ(read(jpeg(jfif + comment + exif)).description, std::nullopt);
    }
}

TEST(Exif, TheFirstValueOfATagAndTheFramesSizeCount) {
    const std::string sizes = ExifBlock{false}
                                  .raw(kExif, kWidth, kShort, 1, 1024)
                                  .raw(kExif, kHeight, kLong, 1, 768)
                                  .text(kExif, kDescription, "first")
                                  .text(kIfd1, kDescription, "second")
                                  .raw(kIfd1, kWidth, kShort, 1, 160)
                                  .bytes();
    EXPECT_EQ(read(jpeg(sizes, 640, 480)).width, 640);
    const PictureInfo info = read("\xFF\xD8" + sizes);  // no frame
    EXPECT_EQ(std::tuple(info.width, info.height, info.description), std::tuple(1024, 768, "first"s));
}

TEST(Exif, PicturesAreDatedByTheCameraOrTheFile) {
    for (const auto& [camera, expected] : Rows<const char*, const char*>{
             {"1931:01:02 00:00:00", "1931-01-02"},
             {"1930:12:31 23:59:59", "2001-09-09"},
             {"    :  :     :  :  ", "2001-09-09"},
             {"2005/07/14", "2005-07-14"},
             {"2005:0", "2005-0"},
         })
        EXPECT_EQ(read(ExifBlock{true}.text(kIfd0, kDateTime, camera)).date, expected) << camera;
    EXPECT_EQ(read(jpeg(""), 2'208'988'800).date, "2040-01-01");
    EXPECT_EQ(read(jpeg(""), 2'208'988'800).modified, INT32_MAX);
    EXPECT_EQ(read("").date, std::nullopt);
    EXPECT_EQ(read("").modified, 1'000'000'000) << "or it would be read at every scan";
    EXPECT_EQ(read("not a JPEG").date, "2001-09-09");
    EXPECT_EQ(exif_read_info("/nowhere.jpg").date, std::nullopt);
}

TEST(Exif, TextsLieWithinTheBlock) {
    for (const std::size_t length : {2u, 1023u, 1024u}) {  // the shortest stands in the entry itself
        const std::string text(length, 'x');
        EXPECT_EQ(read(ExifBlock{true}.text(kIfd0, kDescription, text)).description,
                  length < 1024 ? Text{text} : Text{});
    }
    for (const auto& [count, value, expected] : Rows<unsigned, unsigned, Text>{
             {0, 8, {}},
             {16, 0xFFFFFFF8, {}},
             {16, 2, {}},
             {4, 0x00004241, "AB"},  // and what else fits: cut at the NUL
         })
        EXPECT_EQ(read(ExifBlock{true}.raw(kIfd0, kDescription, kAscii, count, value)).description, expected) << value;
}

TEST(Exif, ReadingEndsWhereDirectoriesDoNot) {
    const std::string tiff = ExifBlock{false}.text(kIfd0, kDateTime, kDate).tiff();
    for (const auto& [at, bytes, date] : Rows<std::size_t, std::string, const char*>{
             {8, "\xFF\xFF"s, "2005-07-14"},           // 65,535 entries: those before the end count
             {22, "\0\0\0\x08"s, "2005-07-14"},        // the next directory is the first
             {22, "\xFF\xFF\xFF\xFF"s, "2005-07-14"},  // or far away
             {4, "\xFF\xFF\xFF\xFE"s, "2001-09-09"},   // the first one is far away
             {0, "XX"s, "2001-09-09"},
         }) {
        const std::string changed = std::string{tiff}.replace(at, bytes.size(), bytes);
        EXPECT_EQ(read(jpeg(segment(0xFFE1, "Exif\0\0"s + changed))).date, date) << at;
    }
    ExifBlock block = ExifBlock{true}.text(kIfd1, kDescription, "thumbnail").raw(kIfd0, kExifPointer, kLong, 1, 8);
    for (unsigned tag = 1000; tag < 1049; ++tag) block.raw(kIfd1, tag, kShort, 1, 1);
    EXPECT_EQ(read(block).description, "thumbnail");
    EXPECT_EQ(read(block.raw(kIfd1, 1049, kShort, 1, 1)).description, Text{}) << "fifty-one entries are no thumbnail's";
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
