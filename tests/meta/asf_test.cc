#include "meta/asf.h"

#include <gtest/gtest.h>

#include "support/bytes.h"
#include "support/rows.h"

using namespace std::string_literals;

namespace {

const auto u16 = [](std::size_t value) { return little_endian_bytes(value, 2); };

// The head of a file from the format's definition: children come out in the order of the calls, the attributes as one
// object behind them.
class AsfHead {
public:
    AsfHead& description(std::string_view title, std::string_view artist) {
        const std::string a = utf16le_text(title), b = utf16le_text(artist);
        return child("\x33\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"s,
                     u16(a.size()) + u16(b.size()) + std::string(6, '\0') + a + b);
    }
    // Stream properties of a WMA 2 stream that announces ten bytes of its codec.
    AsfHead& format(std::uint32_t bytes_per_second, std::uint16_t channels = 2, std::uint32_t rate = 44100) {
        return child("\x91\x07\xDC\xB7\xB7\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65"s,
                     std::string(54, '\x07') + "\x61\x01" + u16(channels) + little_endian_bytes(rate, 4) +
                         little_endian_bytes(bytes_per_second, 4) + u16(744) + u16(16) + u16(10) +
                         std::string(10, '\x05'));
    }
    AsfHead& attribute(std::string_view name, std::uint16_t type, std::string_view value) {
        const std::string wide = utf16le_text(name);
        attributes_ += u16(wide.size()) + wide + u16(type) + u16(value.size()) + std::string{value};
        ++attribute_count_;
        return *this;
    }
    AsfHead& text(std::string_view name, std::string_view value) { return attribute(name, 0, utf16le_text(value)); }
    AsfHead& number(std::string_view name, std::uint32_t value) {
        return attribute(name, 3, little_endian_bytes(value, 4));
    }
    // An object that nobody knows.
    AsfHead& filler(std::size_t bytes) { return child("0123456789abcdef", std::string(bytes, '\x0B')); }

    std::string bytes() const {
        AsfHead whole = *this;
        if (attribute_count_ > 0)
            whole.child("\x40\xA4\xD0\xD2\x07\xE3\xD2\x11\x97\xF0\x00\xA0\xC9\x5E\xA8\x50"s,
                        u16(attribute_count_) + attributes_);
        return object("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"s,
                      little_endian_bytes(whole.child_count_, 4) + "\x01\x02" + whole.children_);
    }

private:
    static std::string object(const std::string& guid, const std::string& data) {
        return guid + little_endian_bytes(24 + data.size(), 8) + data;
    }
    AsfHead& child(const std::string& guid, const std::string& data) {
        children_ += object(guid, data);
        ++child_count_;
        return *this;
    }
    std::string children_, attributes_;
    std::size_t child_count_ = 0, attribute_count_ = 0;
};

MediaFacts read(const std::string& head, TagCharset charset = TagCharset::ascii) {
    return asf_read(as_bytes(head), head.size(), charset);
}
// With the first attribute of nearly every file; the list is found by it.
AsfHead marked() {
    return AsfHead{}.description("T", "A").text("WMFSDKVersion", "9.0");
}

TEST(Asf, TheDescriptionIsFoundWhereverItStands) {
    const std::string described = AsfHead{}.description("T", "A").bytes();
    for (const auto& [head, title, artist] : Rows<std::string, Text, Text>{
             {described, "T", "A"},
             {AsfHead{}.filler(100).format(2000).description("Title", "Artist").bytes(), "Title", "Artist"},
             {AsfHead{}.filler(40).description("T", "").bytes(), "T", ""},
             {AsfHead{}.filler(40).format(2000).bytes(), {}, {}},
             // Of the header's length the low half is all that counts.
             {AsfHead{}.filler(40).description("T", "A").filler(65'536).bytes(), "T", "A"},
             {AsfHead{}.filler(60'000).description("T", "A").bytes(), {}, {}},
             {"RIFF" + described.substr(4), {}, {}},
             {std::string{described}.replace(54, 4, "\xFF\xFF\xFF\xFF"), {}, {}},
         }) {
        const MediaFacts tags = read(head);
        EXPECT_EQ(std::pair(tags.title, tags.artist), std::pair(title, artist)) << head.size();
    }
}

TEST(Asf, AttributesGiveTrackAndDate) {
    int row = 0;
    for (const auto& [head, track, date] : Rows<AsfHead, int, Text>{
             {marked().number("WM/TrackNumber", 300), 44, {}},  // the low byte alone
             {marked().text("WM/TrackNumber", "3/12"), 3, {}},
             {marked().number("WM/Track", 0), 1, {}},
             {marked().text("WM/Track", "11"), 12, {}},
             {marked().text("WM/Track", "A"), -1, {}},
             {marked().number("WM/Track", 8).number("WM/TrackNumber", 5), 5, {}},
             {marked().text("WM/Year", "1987"), 0, "1987-01-01"},
             {marked().text("WM/Year", "05"), 0, "2005-01-01"},
             {marked().text("WM/Year", "49").text("WM/OriginalReleaseYear", "50"), 0, "1950-01-01"},
             {marked().text("WM/OriginalReleaseYear", "1970").text("WM/Year", "2001"), 0, "1970-01-01"},
             {marked().text("WM/Year", "12345"), 0, "12345-01-0"},
             // A long name ends the list; without the usual name any "WM/" will do.
             {marked().text(std::string(60, 'x'), "y").number("WM/TrackNumber", 7), 0, {}},
             {AsfHead{}.text("Author", "A").number("WM/TrackNumber", 9), 9, {}},
             {AsfHead{}.text("Author", "A").number("Track", 9), 0, {}},
         }) {
        const MediaFacts tags = read(head.bytes());
        EXPECT_EQ(tags.track, track) << row;
        EXPECT_EQ(tags.date, date) << row++;
    }
}

TEST(Asf, AlbumGenreAndPictureWhateverTheCount) {
    const AsfHead gold = marked().text("WM/AlbumTitle", "Gold");
    const std::string head = AsfHead{gold}
                                 .attribute("WM/Genre", 0, utf16le_text(u"B\u00F6\u0142"))
                                 .attribute("WM/Picture", 1, "\x03jpeg")
                                 .bytes();
    EXPECT_EQ(read(head, TagCharset::utf8).genre, "Böł");
    EXPECT_FALSE(read(gold.bytes()).album_art);
    // 0 means a hundred; album and genre are found behind the end of the list, too.
    for (const std::size_t count : {4u, 0u, 1u}) {
        std::string changed = head;
        changed.replace(head.find(utf16le_text("WMFSDKVersion")) - 4, 2, u16(count));
        const MediaFacts tags = read(changed);
        EXPECT_EQ(std::pair(tags.album, tags.genre), std::pair(Text{"Gold"}, Text{"B\xF6\x42\x01"})) << count;
        EXPECT_EQ(tags.album_art, count != 1 ? 1 : 0) << count;
    }
}

TEST(Asf, TheDurationComesFromTheByteRate) {
    for (const auto& [head, audio_bytes, expected] : Rows<AsfHead, std::uint64_t, Text>{
             {AsfHead{}.format(16'000), 180 * 16'000, "0:02:58.000"},   // two seconds are taken off
             {AsfHead{}.format(16'000), 4502 * 16'000, "0:75:00.000"},  // minutes are not carried
             {AsfHead{}.format(16'000), 2 * 16'000, {}},
             {AsfHead{}.format(0), 1'000'000, {}},
             {AsfHead{}.format(1'000'000), 5'002'000'000, "0:83:20.000"},
             {AsfHead{}.format(16'000, 2, 7999), 180 * 16'000, {}},
             // The first that can be one counts: ten channels cannot.
             {AsfHead{}.format(16'000).format(1'000), 12 * 16'000, "0:00:10.000"},
             {AsfHead{}.format(1, 10).format(1'000'000), 12'000'000, "0:00:09.000"},
         }) {
        const std::string bytes = head.bytes();
        // What counts as sound begins 17 bytes and the codec's own bytes behind the format.
        const std::uint64_t size = bytes.find("\x61\x01") + 17 + 10 + audio_bytes;
        EXPECT_EQ(asf_read(as_bytes(bytes), size, TagCharset::ascii).duration, expected) << audio_bytes;
    }
}

}  // namespace
