#include "net/answer.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(AnswerHeader, IsReadLineByLine) {
    const std::string header =
        "HTTP/1.1 206 Partial Content\r\nX-Content-Length: 7\r\ncontent-type:audio/mpeg \r\nicy-name: A\x01 B\r\n"
        "Content-Length: 5\r\nICY-Br:128\r\n\r\n";
    EXPECT_EQ(http_answer_status(header), 206);
    for (const char* none : {"HTTP/1.1 20", "HTTP/1.1 -20", ""}) EXPECT_EQ(http_answer_status(none), 0);
    EXPECT_EQ(http_header_value(header, "Content-Type"), "audio/mpeg");
    EXPECT_EQ(http_header_lines(header, "icy-"), "icy-name: A B\r\nICY-Br: 128\r\n");
    EXPECT_EQ(http_answer_body(header)->length, 5);
}

TEST(Location, IsResolvedAgainstTheUrlThatWasAsked) {
    struct {
        const char *base, *location;
        Text url;
    } const rows[] = {
        {"http://h:1/a/b?c", "HTTP://other", "http://other"},
        {"http://h:1/a/b?c", "//other/x", "http://other/x"},
        {"http://u:p@h:1/a/b?c/d", "/x:y", "http://u:p@h:1/x:y"},
        {"http://h:1/a/b?c/d", "x", "http://h:1/a/x"},
        {"http://h:1/a/b?c/d", "?x", "http://h:1/a/b?x"},
        {"http://h", "x", "http://h/x"},
        {"http://h/", "mailto:x", std::nullopt},
        {"http://h/", "", std::nullopt},
    };
    for (const auto& row : rows)
        EXPECT_EQ(http_resolve_location(row.base, row.location), row.url) << row.base << " to " << row.location;
}

TEST(StreamPlaylist, IsToldFromAStreamAndLeadsToItsFirstHttpEntry) {
    EXPECT_TRUE(http_is_playlist("Audio/X-ScPls; charset=utf-8", "http://h/a"));
    EXPECT_TRUE(http_is_playlist("text/plain", "http://h/listen.PLS?id=1"));
    EXPECT_TRUE(http_is_playlist("", "http://h/listen.m3u"));
    EXPECT_FALSE(http_is_playlist("audio/mpeg", "http://h/listen.m3u"));
    EXPECT_FALSE(http_is_playlist("application/octet-stream", "http://h/a?x=.pls"));
    EXPECT_FALSE(http_is_playlist("", "http://playlists.m3u"));
    for (const auto& [text, entry] : std::initializer_list<std::pair<const char*, Text>>{
             {"[playlist]\nNumberOfEntries=2\nTitle1=x\nfile1 = http://h/1 \nFile2=http://h/2", "http://h/1"},
             {"#EXTM3U\r\n#EXTINF:-1,x\r\nhttps://h/0\r\n  HTTP://h/1\r\nhttp://h/2", "http://h/1"},
             {"/etc/passwd\n\nFile=\n", std::nullopt},
         })
        EXPECT_EQ(http_first_playlist_entry(text), entry) << text;
}

}  // namespace
