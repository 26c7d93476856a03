// Pictures in audio files.
#include "handlers/covers.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "meta/container_picture.h"
#include "support/asf_builder.h"
#include "support/containers.h"
#include "support/mp3_builder.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

using Finder = std::optional<EmbeddedPicture> (*)(FileWindow&);

const std::string kJpeg = "\xFF\xD8\xFF\xE0 the picture \xFF\xD9", kPng = "\x89PNG...";
const std::string kJpegFound = "image/jpeg " + kJpeg, kPngFound = "image/png " + kPng;

// "MIME picture", or what there is instead.
std::string found(Finder find, const std::string& bytes) {
    FileWindow file{as_bytes(bytes)};
    const auto picture = find(file);
    return picture ? picture->mime + " " + bytes.substr(picture->offset, picture->length) : "none";
}

TEST(Cover, OfAnMp3FileIsItsFirstJfifPicture) {
    const std::string head = "APIC" + big_endian_bytes(20, 4) + "\0\0"s;
    const std::pair<std::string, std::string> rows[] = {
        {Id3Tag{3}.text("TIT2", "T").picture(kJpeg).text("TPE1", "A").bytes() + mpeg_frames(3), kJpegFound},
        {Id3Tag{2}.picture(kJpeg).bytes() + mpeg_frames(3), kJpegFound},
        {"", "none"},
        {Id3Tag{3}.picture("\x89PNG").bytes(), "none"},
        {Id3Tag{3}.picture("\xFF\xD8\xFF\xE1 EXIF").picture(kJpeg).bytes(), "none"},
        // A byte that ends a match does not begin one.
        {"PIC" + big_endian_bytes(30, 3) + "\xFF" + kJpeg, "none"},
        {"APIC", "none"},
        {"APIC" + big_endian_bytes(5, 4) + "\0\0\0\0"s + kJpeg, "none"},
    };
    for (const auto& [file, picture] : rows) EXPECT_EQ(found(mp3_find_picture, file), picture) << file.substr(0, 40);
    // Wherever the letters stand, also across the limits of what is read at once.
    for (const std::size_t before : {1019U, 1022U, 16380U, 16381U, 16382U, 16383U, 16384U, 40000U})
        EXPECT_EQ(found(mp3_find_picture, std::string(before, 'x') + head + "ab" + kJpeg), kJpegFound.substr(0, 29));
}

std::string wma_picture(const std::string& picture, const std::string& mime = "image/png") {
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
std::string wma(const std::string& header, const std::string& behind = std::string(100, 'd')) {
    return std::string(16, 'G') + little_endian_bytes(header.size() + 30, 8) + std::string(6, '\0') + header + behind;
}

TEST(Cover, OfAWmaFile) {
    const std::string large(100'000, 'p');
    for (const auto& [file, picture] : std::initializer_list<std::pair<std::string, std::string>>{
             {wma(extended(wma_picture(kPng))), kPngFound},
             {wma(library(wma_picture(large, "image/jpeg"))), "image/jpeg " + large},
             {wma(library("bad") + extended(wma_picture(kPng))), kPngFound},
             {"", "none"},
             {wma("", extended(wma_picture(kPng))), "none"},  // behind the header
             {wma(extended(wma_picture(kPng, "text/html\r\nX: y"))), "none"},
             {wma(extended(wma_picture(kPng, ""))), "none"},
             {wma(extended(wma_picture(""))), "none"},
         })
        EXPECT_EQ(found(wma_find_picture, file), picture) << file.substr(0, 200);
}

TEST(Cover, OfAnM4aFile) {
    const auto cover = [](const std::string& picture) {
        return box("covr", box("data", big_endian_bytes(13, 4) + big_endian_bytes(0, 4) + picture));
    };
    const std::string whole = movie(kTitleBox + cover(kJpeg));
    const std::string long_box = big_endian_bytes(1, 4) + "free" + big_endian_bytes(0, 4) +
                                 big_endian_bytes(16 + 70'000, 4) + std::string(70'000, '\0');
    std::string wide = whole;  // one box reaches out of the one around it
    wide[wide.find("covr") - 3] = '\x7F';
    for (const auto& [file, picture] : std::initializer_list<std::pair<std::string, std::string>>{
             {box("ftyp", "M4A ") + box("mdat", std::string(30'000, 'm')) + whole, kJpegFound},
             {movie(cover(kJpeg), ""), kJpegFound},
             {movie(cover(kPng)), kPngFound},
             {long_box + whole, kJpegFound},
             {big_endian_bytes(0, 4) + whole.substr(4), kJpegFound},  // to the end of the file
             {"moov", "none"},
             {movie(""), "none"},
             {movie(cover("")), "none"},
             {movie(box("covr", "")), "none"},
             {box("moov", "x"), "none"},
             {big_endian_bytes(7, 4) + "moov" + whole, "none"},
             {wide, "none"},
         })
        EXPECT_EQ(found(m4a_find_picture, file), picture) << file.substr(0, 100);
}

TEST(Cover, OfAWavFile) {
    const std::string tag = chunk("id3 ", Id3Tag{3}.picture(kJpeg).bytes()), large = kJpeg + std::string(256 - kJpeg.size(), 'x');
    const std::string data = chunk("data", "PIC \xFF\xD8\xFF\xE0 in the sound");
    const std::string syncsafe = Id3Tag{4}.frame("APIC", large, 0x0200).text("TIT2", "behind it").bytes();
    EXPECT_EQ(found(wav_find_picture, wav(data + tag)), kJpegFound);
    EXPECT_EQ(found(wav_find_picture, wav(data + chunk("id3 ", syncsafe))), "image/jpeg " + large);
    EXPECT_EQ(found(wav_find_picture, wav(data)), "none");
    EXPECT_EQ(found(wav_find_picture, data + tag), "none");
}

// In files larger than anybody could read through.
TEST(Cover, IsLookedForInTheFirstPartOfAFile) {
    const ScratchDirectory scratch;
    for (const auto& [find, content] : {std::pair<Finder, std::string>{mp3_find_picture, "no letters"},
                                        {mp3_find_picture, "APIC\xFF\xFF\xFF\xFF"},
                                        {wma_find_picture, std::string(24, '\x7F')}}) {
        const std::string path = scratch.write("a", content);
        std::filesystem::resize_file(path, 400'000'000'000);
        const File file = file_open_regular(path);
        FileWindow window{file, 400'000'000'000};
        EXPECT_FALSE(find(window));
    }
}

}  // namespace
