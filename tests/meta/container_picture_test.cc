#include "meta/container_picture.h"

#include <gtest/gtest.h>

#include "meta/album_art.h"
#include "support/asf_builder.h"
#include "support/mp3_builder.h"

using namespace std::string_literals;

namespace {

const std::string kJpeg = "\xFF\xD8\xFF\xE0 the picture \xFF\xD9";

std::string box(std::string_view type, const std::string& data) {
    return big_endian_bytes(static_cast<std::uint32_t>(8 + data.size()), 4).append(type).append(data);
}
std::string long_box(std::string_view type, const std::string& data) {
    return big_endian_bytes(1, 4).append(type) + big_endian_bytes(0, 4) +
           big_endian_bytes(static_cast<std::uint32_t>(16 + data.size()), 4) + data;
}
std::string endless_box(std::string_view type, const std::string& data) {
    return big_endian_bytes(0, 4).append(type).append(data);
}

std::string cover(const std::string& picture) {
    return box("covr", box("data", big_endian_bytes(13, 4) + big_endian_bytes(0, 4) + picture));
}
std::string handler() {
    return box("hdlr", std::string(25, '\0'));
}
std::string m4a(const std::string& list, const std::string& in_meta = "\0\0\0\0"s) {
    return box("ftyp", "M4A ") + box("mdat", std::string(30'000, 'm')) +
           box("moov", box("mvhd", std::string(100, '\1')) +
                           box("udta", box("meta", in_meta + handler() + box("ilst", box("\xA9nam", "x") + list))));
}

// "MIME picture", or what there is instead.
std::string found(const std::string& bytes, std::optional<EmbeddedPicture> (*find)(FileWindow&) = m4a_find_picture) {
    FileWindow file{as_bytes(bytes)};
    const auto picture = find(file);
    if (!picture) return "none";
    if (picture->offset > bytes.size() || picture->length > bytes.size() - picture->offset) return "outside";
    return picture->mime + " " + bytes.substr(picture->offset, picture->length);
}

TEST(ContainerPicture, OfAnM4aFile) {
    const std::string expected = "image/jpeg " + kJpeg;
    EXPECT_EQ(found(m4a(cover(kJpeg))), expected);
    EXPECT_EQ(found(m4a(cover(kJpeg), "")), expected) << "without a version";
    EXPECT_EQ(found(m4a(cover("\x89PNG..."))), "image/png \x89PNG...");
    EXPECT_EQ(found(long_box("free", std::string(70'000, '\0')) + m4a(cover(kJpeg))), expected);
    EXPECT_EQ(found(endless_box("moov", box("udta", box("meta", handler() + box("ilst", cover(kJpeg)))))), expected);
    for (const std::string& none : {""s, "moov"s, m4a(""), m4a(cover("")), m4a(box("covr", "")), box("moov", "x"),
                                    big_endian_bytes(7, 4) + "moov" + m4a(cover(kJpeg))})
        EXPECT_EQ(found(none), "none");
    // A box that reaches out of the one around it.
    std::string wide = m4a(cover(kJpeg));
    wide[wide.find("covr") - 3] = '\x7F';
    EXPECT_EQ(found(wide), "none");
}

TEST(ContainerPicture, OfAWavFile) {
    const std::string tag = Id3Tag{3}.picture(kJpeg).bytes();
    const auto chunk = [](std::string_view id, std::string data) {
        if (data.size() % 2 != 0) data += '\0';
        return std::string{id} + little_endian_bytes(data.size(), 4) + data;
    };
    const std::string sound = chunk("data", "PIC \xFF\xD8\xFF\xE0 in the sound");
    EXPECT_EQ(found("RIFF....WAVE" + sound + chunk("id3 ", tag), wav_find_picture), "image/jpeg " + kJpeg);
    EXPECT_EQ(found("RIFF....WAVE" + sound, wav_find_picture), "none");
    EXPECT_EQ(found(sound + chunk("id3 ", tag), wav_find_picture), "none");
}

TEST(ContainerPicture, SurvivesEveryTruncation) {
    const std::string whole = m4a(cover(kJpeg));
    for (std::size_t n = 0; n < whole.size(); n += n < 30'000 ? 97 : 1)
        EXPECT_NE(found(whole.substr(0, n)), "outside") << n;
}

}  // namespace
