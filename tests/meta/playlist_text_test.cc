#include "meta/playlist_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

using Entries = std::vector<std::string>;  // "entry" or "entry|title"

Entries read(void (*format)(FileWindow&, const PlaylistEntrySink&), const std::string& text) {
    Entries entries;
    FileWindow file{as_bytes(text)};
    format(file, [&](std::string_view entry, std::string_view title) {
        entries.emplace_back(entry);
        if (!title.empty()) entries.back().append("|").append(title);
        return true;
    });
    return entries;
}

struct LineCase {
    const char* name;
    void (*format)(FileWindow&, const PlaylistEntrySink&);
    std::string text;
    Entries expected;
};
class PlaylistLines : public testing::TestWithParam<LineCase> {};

TEST_P(PlaylistLines, BecomeEntries) {
    EXPECT_EQ(read(GetParam().format, GetParam().text), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Playlists, PlaylistLines,
    testing::ValuesIn<LineCase>({
        {"line_ends", m3u_read, "a.mp3\r\nb.mp3\nc.mp3\t\x01\r\n\r\nd.mp3", {"a.mp3", "b.mp3", "c.mp3", "d.mp3"}},
        {"titles_are_carried_over",
         m3u_read,
         "#EXTM3U\n#EXTINF:123,Artist - Song, live\na.mp3\nb.mp3\n#EXTINF:7\nc.mp3\n#EXTINF:,\nd.mp3\n",
         {"a.mp3|Artist - Song, live", "b.mp3|Artist - Song, live", "c.mp3|Artist - Song, live", "d.mp3"}},
        {"other_comments", m3u_read, "#EXTALB:x,y\n#extinf:1,z\na.mp3\n", {"a.mp3"}},
        {"three_characters_are_none", m3u_read, "abc\nabcd\n", {"abcd"}},
        {"byte_order_mark", m3u_read, "\xEF\xBB\xBF#EXTINF:1,T\na.mp3\n", {"a.mp3|T"}},
        {"high_bytes_stay", m3u_read, "\xC3\xA4\xC3\xB6\r\n", {"\xC3\xA4\xC3\xB6"}},
        {"nul_ends_a_line", m3u_read, "a.mp3\0junk\nb.mp3\n"s, {"a.mp3", "b.mp3"}},
        {"long_lines_are_cut",
         m3u_read,
         std::string(40'000, 'x') + "\nb.mp3\n",
         {std::string(kPlaylistLine, 'x'), "b.mp3"}},
        {"long_titles_are_cut",
         m3u_read,
         "#EXTINF:1," + std::string(1014, 't') + "uu\na.mp3\n",
         {"a.mp3|" + std::string(1014, 't')}},
        {"empty", m3u_read, "", {}},
        {"pls",
         pls_read,
         "[playlist]\r\nNumberOfEntries=9\r\nFile1=a.mp3\r\nTitle1=T\r\nFile2=http://h/x=y\r\nFile3\r\nfile4=b.mp3\r\n"
         "File=c.mp3\r\nFile5=\r\nLength1=3",
         {"a.mp3", "http://h/x=y", "c.mp3"}},
    }),
    [](const auto& c) { return std::string{c.param.name}; });

TEST(XmlPlaylist, EntriesAreTheSiblingsOfTheFirst) {
    Entries entries;
    const std::string document =
        "<?wpl version=\"1.0\"?><smil><head><title>T</title></head><body><seq><media src=\"..\\a &amp; b.mp3\"/>"
        "<other src=\"x.mp3\"/><media cid=\"1\" src=\"c.mp3\"></media><media/></seq></body></smil>";
    xml_playlist_read(document, [&](std::string_view entry, std::string_view) {
        entries.emplace_back(entry);
        return true;
    });
    EXPECT_EQ(entries, (Entries{"..\\a & b.mp3", "c.mp3"}));
}

TEST(PlaylistText, LinesThatStraddleTheReadersWindow) {
    std::string text;
    Entries expected;
    for (int i = 0; i < 20'000; ++i) {
        expected.push_back("folder/track " + std::to_string(i) + ".mp3");
        text += expected.back() + "\n";
    }
    EXPECT_EQ(read(m3u_read, text), expected);
}

}  // namespace
