// Tags of WAV and M4A files.
#include "meta/audio_item.h"

#include <gtest/gtest.h>

#include "support/containers.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

AudioTags read(const std::string& extension, const std::string& bytes) {
    const ScratchDirectory scratch;
    return audio_read_tags(scratch.write("a." + extension, bytes));
}

std::string format(std::uint64_t tag, std::uint64_t channels, std::uint64_t rate, std::uint64_t byte_rate,
                   std::uint64_t block_and_bits) {
    return chunk("fmt ", little_endian_bytes(tag, 2) + little_endian_bytes(channels, 2) + little_endian_bytes(rate, 4) +
                             little_endian_bytes(byte_rate, 4) + little_endian_bytes(block_and_bits, 4));
}
// 16 bit, stereo, 44100 Hz.
std::string sound(std::size_t seconds) {
    return format(1, 2, 44'100, 176'400, 16 << 16 | 4) + chunk("data", std::string(seconds * 176'400, '\0'));
}
const std::string kInfo =
    chunk("LIST", "INFO" + chunk("INAM", "Title\0"s) + chunk("IART", "Artist\0"s) + chunk("IPRD", "Album\0"s) +
                      chunk("IGNR", "Genre\0"s) + chunk("ICRD", "1994\0"s) + chunk("IPRT", "7\0"s));

TEST(Audio, WavTagsOfBothKinds) {
    const std::string id3 = Id3Tag{3}.text("TIT2", "Other").picture("jpeg").bytes();
    const AudioTags tags = read("WAV", wav(sound(2) + kInfo + chunk("ID3 ", id3)));
    EXPECT_EQ(tags.title, "Other");
    EXPECT_EQ(tags.artist, "Artist");
    EXPECT_EQ(tags.album, "Album");
    EXPECT_EQ(tags.genre, "Genre");
    EXPECT_EQ(tags.date, "1994-01-01");
    EXPECT_EQ(tags.track, 7);
    EXPECT_EQ(tags.duration, "0:00:02.000");
    EXPECT_EQ(tags.bitrate, 1411);
    EXPECT_TRUE(tags.album_art);
    EXPECT_FALSE(read("wav", wav(sound(1) + kInfo)).album_art);
}

TEST(Audio, FrameSizesOfVersion24InAWavFileAreSyncsafe) {
    const std::string title(156, 't');
    const AudioTags tags =
        read("wav", wav(chunk("id3 ", Id3Tag{4}.frame("TIT2", '\0' + title, 0x011D).text("TPE1", "Artist").bytes())));
    EXPECT_EQ(tags.title, title);
    EXPECT_EQ(tags.artist, "Artist");
}

TEST(Audio, CompressedWavIsMeasuredByItsSamples) {
    const std::string adpcm = format(0x11, 1, 8000, 1, 0) + chunk("fact", little_endian_bytes(20'000, 4));
    const AudioTags tags = read("wav", wav(adpcm + chunk("data", std::string(10'000, 'x'))));
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
    const std::string endless = big_endian_bytes(1, 4) + "mdat\x7F" + std::string(7, '\xFF') + std::string(64, '\0');
    EXPECT_EQ(read("m4a", box("free", "") + movie(kTitleBox)).title, "Title");
    EXPECT_EQ(read("m4a", box("free", "") + endless + movie(kTitleBox)).title, Text{});
    EXPECT_EQ(read("m4a", deep + movie(kTitleBox)).title, Text{});
    EXPECT_EQ(read("m4a", many + movie(kTitleBox)).title, Text{});
    EXPECT_EQ(read("wav", wav(sound(0) + chunks + kInfo)).title, Text{});
    EXPECT_EQ(read("wav", wav(sound(0) + chunk("id3 ", "ID3\3\0\0\0\x0F\0\0"s + chapters) + kInfo)).title, "Title");
}

}  // namespace
