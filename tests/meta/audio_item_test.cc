// WAV and M4A files: their tags and their covers.
#include <gtest/gtest.h>

#include "meta/m4a.h"
#include "meta/media_formats.h"
#include "meta/wav.h"
#include "support/cover.h"
#include "support/mp3_builder.h"
#include "support/rows.h"
#include "support/scratch.h"

using namespace std::string_literals;

namespace {

// "title|artist|album|genre|date|track|duration|kbit/s", and whether there is a cover.
std::string tags_of(const std::string& extension, const std::string& bytes) {
    const ScratchDirectory scratch;
    const MediaFacts tags = media_format_of("a." + extension)->read(scratch.write("a." + extension, bytes));
    return described(tags) + "|" + tags.duration.value_or("-") + "|" + std::to_string(tags.bitrate) +
           (tags.album_art ? "|cover" : "");
}

std::string chunk(std::string_view id, std::string data) {
    if (data.size() % 2 != 0) data += '\0';
    return std::string{id} + little_endian_bytes(data.size(), 4) + data;
}
std::string wav(const std::string& chunks) {
    return chunk("RIFF", "WAVE" + chunks);
}
std::string format(int tag, int channels, int rate, int byte_rate, int block) {
    return chunk("fmt ", little_endian_bytes(tag, 2) + little_endian_bytes(channels, 2) + little_endian_bytes(rate, 4) +
                             little_endian_bytes(byte_rate, 4) + little_endian_bytes(block, 2) + "\x10\0"s);
}

TEST(Wav, TagsOfBothKindsAndTheLengthOfItsSound) {
    const std::string second = format(1, 2, 44'100, 176'400, 4) + chunk("data", std::string(176'400, '\0'));
    const std::string info =
        chunk("LIST", "INFO" + chunk("INAM", "Title\0"s) + chunk("IART", "Artist\0"s) + chunk("IPRD", "Album\0"s) +
                          chunk("IGNR", "Genre\0"s) + chunk("ICRD", "1994\0"s) + chunk("IPRT", "7\0"s));
    const std::string id3 = Id3Tag{3}.text("TIT2", "Other").picture("jpeg").bytes(), long_title(156, 't');
    // Frame sizes of version 2.4 are syncsafe here.
    const std::string syncsafe = Id3Tag{4}.frame("TIT2", '\0' + long_title, 0x011D).text("TPE1", "Artist").bytes();
    const std::string adpcm = format(0x11, 1, 8000, 1, 0) + chunk("fact", little_endian_bytes(20'005, 4));
    for (const auto& [chunks, expected] : Rows<std::string, std::string>{
             {second + info + chunk("ID3 ", id3), "Other|Artist|Album|Genre|1994-01-01|7|0:00:01.000|1411|cover"},
             {second + info, "Title|Artist|Album|Genre|1994-01-01|7|0:00:01.000|1411"},
             {second + chunk("id3 ", syncsafe), long_title + "|Artist|-|-|-|0|0:00:01.000|1411"},
             // Compressed, it is measured by its samples.
             {adpcm + chunk("data", std::string(10'000, 'x')), "-|-|-|-|-|0|0:00:02.501|32"},
         })
        EXPECT_EQ(tags_of("WAV", wav(chunks)), expected);
}

TEST(Wav, CoverOfItsTagWithSyncsafeSizes) {
    const std::string large = kJpeg + std::string(256 - kJpeg.size(), 'x');
    const std::string tag = Id3Tag{4}.frame("APIC", large, 0x0200).text("TIT2", "behind it").bytes();
    const std::string data = chunk("data", "PIC \xFF\xD8\xFF\xE0 in the sound");
    EXPECT_EQ(found_picture(wav_find_picture, wav(data + chunk("id3 ", tag))), "image/jpeg " + large);
    EXPECT_EQ(found_picture(wav_find_picture, wav(data)), "none");
    EXPECT_EQ(found_picture(wav_find_picture, data + chunk("id3 ", tag)), "none");
}

std::string box(std::string_view type, const std::string& data) {
    return big_endian_bytes(8 + data.size(), 4).append(type).append(data);
}
// Metadata with this list of items; some writers leave the version out.
std::string movie(const std::string& list, const std::string& version = std::string(4, '\0')) {
    return box("moov", box("udta", box("meta", version + box("hdlr", std::string(25, '\0')) + box("ilst", list))));
}

TEST(M4a, TitleAndCoverAmongItsBoxes) {
    const auto cover = [](const std::string& picture) {
        return box("covr", box("data", big_endian_bytes(13, 4) + big_endian_bytes(0, 4) + picture));
    };
    const std::string title = box("\xA9nam", box("data", big_endian_bytes(1, 4) + big_endian_bytes(0, 4) + "Title"));
    EXPECT_EQ(tags_of("m4a", box("free", "") + movie(title)), "Title|-|-|-|-|0|-|0");
    const std::string whole = movie(title + cover(kJpeg));
    const std::string long_box =
        big_endian_bytes(1, 4) + "free" + big_endian_bytes(16 + 70'000, 8) + std::string(70'000, '\0');
    std::string wide = whole;  // one box reaches out of the one around it
    wide[wide.find("covr") - 3] = '\x7F';
    for (const auto& [file, picture] : Rows<std::string, std::string>{
             {box("ftyp", "M4A ") + box("mdat", std::string(30'000, 'm')) + whole, kJpegFound},
             {movie(cover(kJpeg), ""), kJpegFound},
             {movie(cover(kPng)), kPngFound},
             {long_box + whole, kJpegFound},
             {big_endian_bytes(0, 4) + whole.substr(4), kJpegFound},  // to the end of the file
             {movie(""), "none"},
             {movie(cover("")), "none"},
             {movie(box("covr", "")), "none"},
             {box("moov", "x"), "none"},
             {big_endian_bytes(7, 4) + "moov" + whole, "none"},
             {wide, "none"},
         })
        EXPECT_EQ(found_picture(m4a_find_picture, file), picture) << file.substr(0, 100);
    // Files that would take the stack or for ever stay without tags.
    std::string deep, many;
    for (std::uint32_t left = 60'000; left > 0; --left) deep += big_endian_bytes(8 * left, 4) + "moov";
    for (int i = 0; i < 20'000; ++i) many += box("free", "");
    for (const std::string& hostile : {deep, many})
        EXPECT_EQ(tags_of("m4a", hostile + movie(title)), "-|-|-|-|-|0|-|0");
}

}  // namespace
