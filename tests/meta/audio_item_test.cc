#include <gtest/gtest.h>

#include "meta/m4a.h"
#include "meta/media_formats.h"
#include "meta/wav.h"
#include "support/asf_builder.h"
#include "support/mp3_builder.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

MediaFacts audio_read_tags(const std::string& path) {
    return media_format_of(path)->read(path);
}

std::string chunk(std::string_view id, std::string data) {
    if (data.size() % 2 != 0) data += '\0';
    return std::string{id} + little_endian_bytes(data.size(), 4) + data;
}
std::string box(std::string_view type, const std::string& data) {
    return big_endian_bytes(static_cast<std::uint32_t>(8 + data.size()), 4).append(type).append(data);
}
std::string movie(const std::string& list, const std::string& version = "\0\0\0\0"s) {
    return box("moov", box("udta", box("meta", version + box("hdlr", std::string(25, '\0')) + box("ilst", list))));
}
const std::string kTitleBox = box("\xA9nam", box("data", big_endian_bytes(1, 4) + big_endian_bytes(0, 4) + "Title"));

std::string format(std::uint64_t tag, std::uint64_t channels, std::uint64_t rate, std::uint64_t byte_rate,
                   std::uint64_t block_and_bits) {
    return chunk("fmt ", little_endian_bytes(tag, 2) + little_endian_bytes(channels, 2) + little_endian_bytes(rate, 4) +
                             little_endian_bytes(byte_rate, 4) + little_endian_bytes(block_and_bits, 4));
}
std::string wav(const std::string& chunks) {
    return chunk("RIFF", "WAVE" + chunks);
}
// 16 bit, stereo, 44100 Hz.
std::string sound(std::size_t seconds) {
    return format(1, 2, 44'100, 176'400, 16 << 16 | 4) + chunk("data", std::string(seconds * 176'400, '\0'));
}
std::string info() {
    return chunk("LIST", "INFO" + chunk("INAM", "Title\0"s) + chunk("IART", "Artist\0"s) + chunk("IPRD", "Album\0"s) +
                             chunk("IGNR", "Genre\0"s) + chunk("ICRD", "1994\0"s) + chunk("IPRT", "7\0"s));
}

TEST(Audio, WavTagsOfBothKinds) {
    ScratchDirectory scratch;
    const std::string id3 = Id3Tag{3}.text("TIT2", "Other").picture("jpeg").bytes();
    const MediaFacts tags = audio_read_tags(scratch.write("b.WAV", wav(sound(2) + info() + chunk("ID3 ", id3))));
    EXPECT_EQ(tags.title, "Other");
    EXPECT_EQ(tags.artist, "Artist");
    EXPECT_EQ(tags.album, "Album");
    EXPECT_EQ(tags.genre, "Genre");
    EXPECT_EQ(tags.date, "1994-01-01");
    EXPECT_EQ(tags.track, 7);
    EXPECT_EQ(tags.duration, "0:00:02.000");
    EXPECT_EQ(tags.bitrate, 1411);
    EXPECT_TRUE(tags.album_art);
    EXPECT_FALSE(audio_read_tags(scratch.write("b.wav", wav(sound(1) + info()))).album_art);
}

TEST(Audio, FrameSizesOfVersion24InAWavFileAreSyncsafe) {
    ScratchDirectory scratch;
    const std::string title(156, 't');
    const std::string id3 = Id3Tag{4}.frame_with_size("TIT2", 0x011D, '\0' + title).text("TPE1", "Artist").bytes();
    const MediaFacts tags = audio_read_tags(scratch.write("a.wav", wav(sound(1) + chunk("id3 ", id3))));
    EXPECT_EQ(tags.title, title);
    EXPECT_EQ(tags.artist, "Artist");
}

TEST(Audio, CompressedWavIsMeasuredByItsSamples) {
    ScratchDirectory scratch;
    const std::string adpcm = format(0x11, 1, 8000, 1, 0) + chunk("fact", little_endian_bytes(20'000, 4));
    const MediaFacts tags =
        audio_read_tags(scratch.write("a.wav", wav(adpcm + chunk("data", std::string(10'000, 'x')))));
    EXPECT_EQ(tags.duration, "0:00:02.500");
    EXPECT_EQ(tags.bitrate, 32);
}

// Files that would take the stack, the memory or for ever stay without tags.
TEST(Audio, HostileContainers) {
    std::string deep, many, chunks, chapters;
    for (std::uint32_t left = 60'000; left > 0; --left) deep += big_endian_bytes(8 * left, 4) + "moov";
    for (int i = 0; i < 20'000; ++i) many += box("free", "");
    for (int i = 0; i < 20'000; ++i) chunks += chunk("junk", "");
    for (std::uint32_t left = 5000; left > 0; --left)
        chapters += "CHAP" + big_endian_bytes(28 * left - 10, 4) + "\0\0a\0"s + std::string(16, '\0');
    const std::string tag = "ID3\3\0\0\0\x0F\0\0"s + chapters;
    const std::string endless = big_endian_bytes(1, 4) + "mdat\x7F" + std::string(7, '\xFF') + std::string(64, '\0');

    ScratchDirectory scratch;
    const auto title = [&scratch](const char* file, const std::string& bytes) {
        return audio_read_tags(scratch.write(file, bytes)).title;
    };
    EXPECT_EQ(title("good.m4a", box("free", "") + movie(kTitleBox)), "Title");
    EXPECT_EQ(title("endless.m4a", box("free", "") + endless + movie(kTitleBox)), Text{});
    EXPECT_EQ(title("deep.m4a", deep + movie(kTitleBox)), Text{});
    EXPECT_EQ(title("many.m4a", many + movie(kTitleBox)), Text{});
    EXPECT_EQ(title("chunks.wav", wav(sound(0) + chunks + info())), Text{});
    EXPECT_EQ(title("chapters.wav", wav(sound(0) + chunk("id3 ", tag) + info())), "Title");
}

// ---- covers

const std::string kJpeg = "\xFF\xD8\xFF\xE0 the picture \xFF\xD9";

// "MIME picture", or what there is instead.
std::string found(const std::string& bytes, std::optional<EmbeddedPicture> (*find)(FileWindow&)) {
    FileWindow file{as_bytes(bytes)};
    const auto picture = find(file);
    return picture ? picture->mime + " " + bytes.substr(picture->offset, picture->length) : "none";
}
std::string cover(const std::string& picture) {
    return box("covr", box("data", big_endian_bytes(13, 4) + big_endian_bytes(0, 4) + picture));
}

TEST(Audio, CoverOfAnM4aFile) {
    const std::string list = kTitleBox + cover(kJpeg), whole = movie(list), expected = "image/jpeg " + kJpeg;
    const std::string long_box = big_endian_bytes(1, 4) + "free" + big_endian_bytes(0, 4) +
                                 big_endian_bytes(16 + 70'000, 4) + std::string(70'000, '\0');
    std::string wide = whole;  // one box reaches out of the one around it
    wide[wide.find("covr") - 3] = '\x7F';
    for (const auto& [file, picture] : std::vector<std::pair<std::string, std::string>>{
             {box("ftyp", "M4A ") + box("mdat", std::string(30'000, 'm')) + whole, expected},
             {movie(list, ""), expected},
             {movie(cover("\x89PNG...")), "image/png \x89PNG..."},
             {long_box + whole, expected},
             {big_endian_bytes(0, 4) + whole.substr(4), expected},  // to the end of the file
             {"moov", "none"},
             {movie(""), "none"},
             {movie(cover("")), "none"},
             {movie(box("covr", "")), "none"},
             {box("moov", "x"), "none"},
             {big_endian_bytes(7, 4) + "moov" + whole, "none"},
             {wide, "none"},
         })
        EXPECT_EQ(found(file, m4a_find_picture), picture) << file.substr(0, 100);
}

TEST(Audio, CoverOfAWavFile) {
    const std::string tag = chunk("id3 ", Id3Tag{3}.picture(kJpeg).bytes());
    const std::string data = chunk("data", "PIC \xFF\xD8\xFF\xE0 in the sound");
    EXPECT_EQ(found(wav(data + tag), wav_find_picture), "image/jpeg " + kJpeg);
    const std::string large = kJpeg + std::string(256 - kJpeg.size(), 'x');
    const std::string syncsafe = Id3Tag{4}.frame_with_size("APIC", 0x0200, large).text("TIT2", "behind it").bytes();
    EXPECT_EQ(found(wav(data + chunk("id3 ", syncsafe)), wav_find_picture), "image/jpeg " + large);
    EXPECT_EQ(found(wav(data), wav_find_picture), "none");
    EXPECT_EQ(found(data + tag, wav_find_picture), "none");
}

}  // namespace
