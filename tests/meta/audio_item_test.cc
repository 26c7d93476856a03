#include "meta/audio_item.h"

#include <gtest/gtest.h>

#include "support/asf_builder.h"
#include "support/mp3_builder.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

std::string chunk(std::string_view id, std::string data) {
    if (data.size() % 2 != 0) data += '\0';
    return std::string{id} + little_endian_bytes(data.size(), 4) + data;
}

// 16 bit, stereo, 44100 Hz; tags are chunks.
std::string wav(std::size_t seconds, const std::string& tags = {}) {
    const std::string format = little_endian_bytes(1, 2) + little_endian_bytes(2, 2) + little_endian_bytes(44100, 4) +
                               little_endian_bytes(176'400, 4) + little_endian_bytes(4, 2) + little_endian_bytes(16, 2);
    return chunk("RIFF", "WAVE" + chunk("fmt ", format) + chunk("data", std::string(seconds * 176'400, '\0')) + tags);
}

std::string info() {
    return chunk("LIST", "INFO" + chunk("INAM", "Title\0"s) + chunk("IART", "Artist\0"s) + chunk("IPRD", "Album\0"s) +
                             chunk("IGNR", "Genre\0"s) + chunk("ICRD", "1994\0"s) + chunk("IPRT", "7\0"s));
}

TEST(Audio, WavTagsOfBothKinds) {
    ScratchDirectory scratch;
    const AudioTags tags = audio_read_tags(scratch.write("a.WAV", wav(2, info())));
    EXPECT_EQ(tags.title, "Title");
    EXPECT_EQ(tags.artist, "Artist");
    EXPECT_EQ(tags.album, "Album");
    EXPECT_EQ(tags.genre, "Genre");
    EXPECT_EQ(tags.date, "1994-01-01");
    EXPECT_EQ(tags.track, 7);
    EXPECT_EQ(tags.duration, "0:00:02.000");
    EXPECT_EQ(tags.bitrate, 1411);
    EXPECT_FALSE(tags.album_art);

    const std::string id3 = Id3Tag{3}.text("TIT2", "Other").picture("jpeg").bytes();
    const AudioTags both = audio_read_tags(scratch.write("b.wav", wav(1, info() + chunk("ID3 ", id3))));
    EXPECT_EQ(both.title, "Other");
    EXPECT_EQ(both.artist, "Artist");
    EXPECT_TRUE(both.album_art);
}

TEST(Audio, WhatCannotBeReadIsMissing) {
    ScratchDirectory scratch;
    const std::string whole = wav(1, info());
    for (const std::string& bytes : {""s, "RIFF"s, whole.substr(0, 50),
                                     "\0\0\0\x20"
                                     "ftypM4A "s +
                                         std::string(500, '\xFF')}) {
        for (const char* const name : {"a.wav", "a.m4a"}) {
            const AudioTags tags = audio_read_tags(scratch.write(name, bytes));
            EXPECT_EQ(tags.size, bytes.size());
            EXPECT_GT(tags.modified, 0);
            EXPECT_FALSE(tags.title);
            EXPECT_FALSE(tags.duration);
        }
    }
    EXPECT_EQ(audio_read_tags(scratch / "none.m4a").modified, 0);
}

std::string box(std::string_view type, const std::string& data) {
    return big_endian_bytes(static_cast<std::uint32_t>(8 + data.size()), 4).append(type).append(data);
}

// Files that would take the stack, the memory or for ever stay without tags.
TEST(Audio, CompressedWavIsMeasuredByItsSamples) {
    const auto numbers = [](std::uint64_t tag, std::uint64_t rate, std::uint64_t byte_rate) {
        return little_endian_bytes(tag, 2) + little_endian_bytes(1, 2) + little_endian_bytes(rate, 4) +
               little_endian_bytes(byte_rate, 4) + little_endian_bytes(0, 4);
    };
    ScratchDirectory scratch;
    const std::string adpcm = chunk("fmt ", numbers(0x11, 8000, 1)) + chunk("fact", little_endian_bytes(20'000, 4));
    const AudioTags tags = audio_read_tags(
        scratch.write("a.wav", chunk("RIFF", "WAVE" + adpcm + chunk("data", std::string(10'000, 'x')))));
    EXPECT_EQ(tags.duration, "0:00:02.500");
    EXPECT_EQ(tags.bitrate, 32);
}

TEST(Audio, HostileContainers) {
    const std::string name = box("\xA9nam", box("data", big_endian_bytes(1, 4) + big_endian_bytes(0, 4) + "Title"));
    const std::string movie =
        box("moov", box("udta", box("meta", "\0\0\0\0"s + box("hdlr", std::string(25, '\0')) + box("ilst", name))));
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
    EXPECT_EQ(title("good.m4a", box("free", "") + movie), "Title");
    EXPECT_EQ(title("endless.m4a", box("free", "") + endless + movie), Text{});
    EXPECT_EQ(title("deep.m4a", deep + movie), Text{});
    EXPECT_EQ(title("many.m4a", many + movie), Text{});
    EXPECT_EQ(title("chunks.wav", wav(0, chunks + info())), Text{});
    EXPECT_EQ(title("chapters.wav", wav(0, chunk("id3 ", tag) + info())), "Title");
}

struct RawCase {
    const char* file;
    std::size_t size;
    Text duration;
    std::int32_t bitrate;
};

TEST(Audio, RawSoundIsMeasuredByNameAndSize) {
    ScratchDirectory scratch;
    for (const auto& [file, size, duration, bitrate] : std::vector<RawCase>{
             {"a.pcm", 176'400 * 3, "0:00:03.000", 1411},
             {"Mono.pcm", 88'200 / 2, "0:00:00.500", 705},
             {"at 48000.lpcm", 192'000, "0:00:01.000", 1536},
             {"48 Mono.lpcm", 96'000, "0:00:01.000", 768},
             {"empty.pcm", 0, {}, 0},
         }) {
        const AudioTags tags = audio_read_tags(scratch.write(file, std::string(size, '\0')));
        EXPECT_EQ(tags.duration, duration) << file;
        EXPECT_EQ(tags.bitrate, bitrate) << file;
    }
}

}  // namespace
