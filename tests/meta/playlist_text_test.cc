#include "import/playlist_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

using Entries = std::vector<std::string>;  // "entry" or "entry|title"

template <typename Format, typename Content>
Entries read(Format format, Content&& content) {
    Entries entries;
    format(content, [&](std::string_view entry, std::string_view title) {
        entries.emplace_back(entry);
        if (!title.empty()) entries.back().append("|").append(title);
        return true;
    });
    return entries;
}

TEST(PlaylistText, LinesBecomeEntries) {
    const std::string title(1014, 't');
    struct {
        void (*format)(FileWindow&, const PlaylistEntrySink&);
        std::string text;
        Entries expected;
    } const rows[] = {
        // Line ends; three characters are none; a byte-order mark; a NUL ends a line.
        {m3u_read, "a.mp3\r\nb.mp3\nc.mp3\t\x01\r\n\r\nabc\nd.mp3", {"a.mp3", "b.mp3", "c.mp3", "d.mp3"}},
        {m3u_read, "\xEF\xBB\xBF#EXTINF:1,T\n\xC3\xA4.mp3\0junk\n#EXTALB:x,y\n"s, {"\xC3\xA4.mp3|T"}},
        // Titles are carried over to entries without one.
        {m3u_read,
         "#EXTM3U\n#EXTINF:123,Artist - Song, live\na.mp3\nb.mp3\n#EXTINF:7\nc.mp3\n#EXTINF:,\nd.mp3\n",
         {"a.mp3|Artist - Song, live", "b.mp3|Artist - Song, live", "c.mp3|Artist - Song, live", "d.mp3"}},
        // Long lines and titles are cut.
        {m3u_read, std::string(40'000, 'x') + "\nb.mp3\n", {std::string(kPlaylistLine, 'x'), "b.mp3"}},
        {m3u_read, "#EXTINF:1," + title + "uu\na.mp3\n", {"a.mp3|" + title}},
        {pls_read,
         "[playlist]\r\nNumberOfEntries=9\r\nFile1=a.mp3\r\nTitle1=T\r\nFile2=http://h/x=y\r\nFile3\r\nfile4=b.mp3\r\n"
         "File=c.mp3\r\nFile5=\r\nLength1=3",
         {"a.mp3", "http://h/x=y", "c.mp3"}},
    };
    for (const auto& row : rows) EXPECT_EQ(read(row.format, FileWindow{as_bytes(row.text)}), row.expected);
}

TEST(PlaylistText, XmlEntriesAreTheSiblingsOfTheFirst) {
    EXPECT_EQ(read(xml_playlist_read,
                   "<?wpl version=\"1.0\"?><smil><head/><body><seq><media src=\"..\\a &amp; b.mp3\"/>"
                   "<other src=\"x.mp3\"/><media cid=\"1\" src=\"c.mp3\"></media><media/></seq></body>"),
              (Entries{"..\\a & b.mp3", "c.mp3"}));
}

TEST(PlaylistText, LinesThatStraddleTheReadersWindow) {
    std::string text;
    Entries expected;
    for (int i = 0; i < 20'000; ++i) {
        expected.push_back("folder/track " + std::to_string(i) + ".mp3");
        text += expected.back() + "\n";
    }
    EXPECT_EQ(read(m3u_read, FileWindow{as_bytes(text)}), expected);
}

}  // namespace
