#include "handlers/covers.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "core/process.h"
#include "meta/asf_picture.h"
#include "meta/m4a.h"
#include "meta/mp3.h"
#include "meta/wav.h"
#include "support/asf_builder.h"
#include "support/handler_call.h"
#include "support/mp3_builder.h"
#include "support/scratch.h"
#include "support/store_fixture.h"

using namespace std::string_literals;

namespace {

const std::string kJpeg = "\xFF\xD8\xFF\xE0 the picture \xFF\xD9";
const std::string kExifJpeg = "\xFF\xD8\xFF\xE1 the picture \xFF\xD9";

std::string picture_attribute(const std::string& picture, const std::string& mime = "image/png") {
    return "\x03" + little_endian_bytes(picture.size(), 4) + utf16le_text(mime) + utf16le_text("Cover") + picture;
}
// As the extended content description and as the metadata library have it.
std::string extended(const std::string& data) {
    const std::string name = utf16le_text("WM/Picture");
    return little_endian_bytes(name.size(), 2) + name + little_endian_bytes(1, 2) +
           little_endian_bytes(data.size(), 2) + data;
}
std::string library(const std::string& data) {
    const std::string name = utf16le_text("WM/Picture");
    return little_endian_bytes(0, 4) + little_endian_bytes(name.size(), 2) + little_endian_bytes(1, 2) +
           little_endian_bytes(data.size(), 4) + name + data;
}
std::string asf(const std::string& header, const std::string& behind = std::string(100, 'd')) {
    return std::string(16, 'G') + little_endian_bytes(header.size() + 30, 8) + std::string(6, '\0') + header + behind;
}

class AlbumArt : public StoreFixture {
protected:
    void configure() override { ignore_broken_pipes(); }
    HandlerAnswer ask(const std::string& name, std::string_view content) {
        const std::string path = scratch_.write(name, content);
        static_cast<void>(db_add_item({.path = path}));
        const bool wma = name.ends_with(".wma");
        return call_handler(handle_cover,
                            (wma ? "/albumart-wma/" : "/albumart-mp3/") + std::to_string(id_of(path)) + ".jpg");
    }
    // "MIME body" of an answer, or what it answers instead.
    std::string picture(const std::string& content, const std::string& extension = ".mp3") {
        const HandlerAnswer answer = ask(std::to_string(++files_) + extension, content);
        if (answer.status_line != "HTTP/1.1 200 OK") return answer.status_line.substr(9);
        EXPECT_EQ(answer.header("Content-Length"), std::to_string(answer.body.size()));
        return answer.header("Content-Type") + " " + answer.body;
    }
    ScratchDirectory scratch_;
    int files_ = 0;
};

TEST_F(AlbumArt, IsTheFirstJfifPictureOfAnMp3) {
    const std::string found = "image/jpeg " + kJpeg, none = "404 Not Found";
    EXPECT_EQ(picture(Id3Tag{3}.text("TIT2", "T").picture(kJpeg).text("TPE1", "A").bytes() + mpeg_frames(3)), found);
    EXPECT_EQ(picture(Id3Tag{2}.picture(kJpeg).bytes() + mpeg_frames(3)), found);
    EXPECT_EQ(picture(""), none);
    EXPECT_EQ(picture(Id3Tag{3}.picture("\x89PNG").bytes() + mpeg_frames(3)), none);
    EXPECT_EQ(picture(Id3Tag{3}.picture(kExifJpeg).picture(kJpeg).bytes() + mpeg_frames(3)), none);
    // Wherever the letters stand, also across the limits of what is read at once.
    for (const std::size_t before : {1019U, 1022U, 16380U, 16381U, 16382U, 16383U, 16384U, 40000U})
        EXPECT_EQ(picture(std::string(before, 'x') + "APIC" + big_endian_bytes(20, 4) + "\0\0"s + "ab" + kJpeg),
                  "image/jpeg " + kJpeg.substr(0, 18))
            << before;
    // A byte that ends a match does not begin one.
    EXPECT_EQ(picture("PIC" + big_endian_bytes(30, 3) + "\xFF" + kJpeg), none);
    EXPECT_EQ(picture("APIC"), none);
    EXPECT_EQ(picture("APIC" + big_endian_bytes(5, 4) + "\0\0\0\0"s + kJpeg), none);
}

// In files larger than anybody could read through.
TEST_F(AlbumArt, IsLookedForInTheFirstPartOfAFile) {
    using Find = decltype(&mp3_find_picture);
    for (const auto& [find, content] : {std::pair<Find, std::string>{mp3_find_picture, "no letters"},
                                        {mp3_find_picture, "APIC\xFF\xFF\xFF\xFF"},
                                        {wma_find_picture, std::string(24, '\x7F')}}) {
        const std::string path = scratch_.write("a", content);
        std::filesystem::resize_file(path, 400'000'000'000);
        const File file = file_open_regular(path);
        FileWindow window{file, 400'000'000'000};
        EXPECT_FALSE(find(window));
    }
}

TEST_F(AlbumArt, EndsTheConnectionWhereTheFileEndsEarly) {
    const HandlerAnswer answer = ask("a.mp3", "APIC" + big_endian_bytes(1000, 4) + "\0\0"s + kJpeg);
    EXPECT_EQ(answer.header("Content-Length"), "1000");
    EXPECT_EQ(answer.body, kJpeg);
    EXPECT_EQ(answer.header("Connection"), "close");
    EXPECT_EQ(answer.result, HandlerResult::close);
    // 4 GiB are not allocated for it either.
    EXPECT_EQ(ask("b.mp3", "APIC\xFF\xFF\xFF\xFF" + "\0\0"s + kJpeg).body, kJpeg);
}

TEST_F(AlbumArt, IsThePictureOfAWmaFile) {
    const std::string found = "image/png \x89PNG...", none = "404 Not Found", png = "\x89PNG...", large(100'000, 'p');
    const auto wma = [&](const std::string& content) { return picture(content, ".wma"); };
    EXPECT_EQ(wma(asf(extended(picture_attribute(png)))), found);
    EXPECT_EQ(wma(asf(library(picture_attribute(large, "image/jpeg")))), "image/jpeg " + large);
    EXPECT_EQ(wma(asf(library("bad") + extended(picture_attribute(png)))), found);
    EXPECT_EQ(wma(""), none);
    EXPECT_EQ(wma(asf("", extended(picture_attribute(png)))), none) << "behind the header";
    EXPECT_EQ(wma(asf(extended(picture_attribute(png, "text/html\r\nX: y")))), none);
    EXPECT_EQ(wma(asf(extended(picture_attribute(png, "")))), none);
    EXPECT_EQ(wma(asf(extended(picture_attribute("")))), none);
}

}  // namespace
