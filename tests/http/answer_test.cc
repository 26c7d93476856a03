#include "http/answer.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const std::string kHeader =
    "HTTP/1.1 206 Partial Content\r\nX-Content-Length: 7\r\ncontent-type:audio/mpeg \r\nicy-name: A\x01 B\r\n"
    "Content-Length: 5\r\nICY-Br:128\r\n\r\n";

TEST(AnswerHeader, IsReadLineByLine) {
    EXPECT_EQ(http_answer_status(kHeader), 206);
    EXPECT_EQ(http_header_value(kHeader, "Content-Type"), "audio/mpeg");
    EXPECT_EQ(http_header_value(kHeader, "Location"), std::nullopt);
    EXPECT_EQ(http_header_lines(kHeader, "icy-"), "icy-name: A B\r\nICY-Br: 128\r\n");
    EXPECT_EQ(http_answer_body(kHeader)->length, 5);
}

struct StatusCase {
    const char* line;
    int status;
};
TEST(AnswerHeader, StatusIsThatOfHttpAndOfStations) {
    for (const StatusCase& row : {StatusCase{"ICY 200 OK\r\n\r\n", 200},
                                  {"HTTP/1.0 404\r\n", 404},
                                  {"HTTP/1.1 2000 OK", 200},
                                  {"HTTP/1.1 20", 0},
                                  {"HTTP/1.1 -20", 0},
                                  {"SSH-2.0-x 200 OK", 0},
                                  {"", 0}}) {
        EXPECT_EQ(http_answer_status(row.line), row.status) << row.line;
    }
}

struct BodyCase {
    const char* lines;
    bool readable;
    AnswerBody::Coding coding = AnswerBody::Coding::to_close;
    std::int64_t length = -1;
};
TEST(AnswerHeader, SaysWhereItsBodyEnds) {
    using Coding = AnswerBody::Coding;
    for (const BodyCase& row : {BodyCase{"", true},
                                {"Content-Length: 0\r\n", true, Coding::by_length, 0},
                                {"Content-Length: 9223372036854775806\r\n", true, Coding::by_length, INT64_MAX - 1},
                                {"Content-Length: 9223372036854775808\r\n", false},
                                {"Content-Length: -1\r\n", false},
                                {"Content-Length: 5\r\nContent-Length: 6\r\n", false},
                                {"Content-Length: 5\r\nTransfer-Encoding: gzip, Chunked\r\n", true, Coding::chunked}}) {
        const auto body = http_answer_body("HTTP/1.1 200 OK\r\n" + std::string{row.lines} + "\r\n");
        ASSERT_EQ(body.has_value(), row.readable) << row.lines;
        if (!body) continue;
        EXPECT_EQ(body->coding, row.coding) << row.lines;
        EXPECT_EQ(body->length, row.length) << row.lines;
    }
}

struct LocationCase {
    const char* base;
    const char* location;
    Text url;
};
TEST(Location, IsResolvedAgainstTheUrlThatWasAsked) {
    for (const LocationCase& row : {LocationCase{"http://h:1/a/b?c", "http://other/x", "http://other/x"},
                                    {"http://h:1/a/b?c", "HTTP://other", "http://other"},
                                    {"http://h:1/a/b?c", "//other/x", "http://other/x"},
                                    {"http://u:p@h:1/a/b?c/d", "/x:y", "http://u:p@h:1/x:y"},
                                    {"http://h:1/a/b?c/d", "x", "http://h:1/a/x"},
                                    {"http://h:1/a/b?c/d", "?x", "http://h:1/a/b?x"},
                                    {"http://h", "x", "http://h/x"},
                                    {"http://h", "/", "http://h/"},
                                    {"http://h/", "https://h/", std::nullopt},
                                    {"http://h/", "mailto:x", std::nullopt},
                                    {"http://h/", "", std::nullopt}}) {
        EXPECT_EQ(http_resolve_location(row.base, row.location), row.url) << row.base << " to " << row.location;
    }
}

TEST(StreamPlaylist, IsToldFromAStream) {
    EXPECT_TRUE(http_is_playlist("Audio/X-ScPls; charset=utf-8", "http://h/a"));
    EXPECT_TRUE(http_is_playlist("text/plain", "http://h/listen.PLS?id=1"));
    EXPECT_TRUE(http_is_playlist("", "http://h/listen.m3u"));
    EXPECT_FALSE(http_is_playlist("audio/mpeg", "http://h/listen.m3u"));
    EXPECT_FALSE(http_is_playlist("application/octet-stream", "http://h/a?x=.pls"));
    EXPECT_FALSE(http_is_playlist("", "http://playlists.m3u"));
}

TEST(StreamPlaylist, LeadsToItsFirstHttpEntry) {
    EXPECT_EQ(
        http_first_playlist_entry("[playlist]\nNumberOfEntries=2\nTitle1=x\nfile1 = http://h/1 \nFile2=http://h/2"),
        "http://h/1");
    EXPECT_EQ(http_first_playlist_entry("#EXTM3U\r\n#EXTINF:-1,x\r\nhttps://h/0\r\n  HTTP://h/1\r\nhttp://h/2"),
              "http://h/1");
    EXPECT_EQ(http_first_playlist_entry("/etc/passwd\n\nFile=\n"), std::nullopt);
}

}  // namespace
