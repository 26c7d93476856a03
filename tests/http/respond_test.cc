#include "http/respond.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

#include "support/http_peer.h"

namespace {

// Everything that goes over the wire, with DATE in place of the date.
class Answer : public testing::Test {
protected:
    Answer() {
        request.socket = pair.near.fd();
        request.method = kGet;
        request.version = 11;
        request.content_type = "audio/mpeg";
        request.content_length = 5;
    }
    std::string sent() {
        pair.near.end_sending();
        constexpr std::size_t kDateLength = 29;  // "Sat, 21 Nov 2026 09:15:26 GMT"
        std::string text = pair.far.read_all();
        pair = SocketPair{};
        request.socket = pair.server;
        const std::size_t at = text.find("Date: ");
        if (at == std::string::npos) return text;
        std::tm time{};
        const char* const end = strptime(text.c_str() + at + 6, "%a, %d %b %Y %H:%M:%S GMT", &time);
        if (end != text.c_str() + at + 6 + kDateLength) return "no date: " + text;
        return text.replace(at + 6, kDateLength, "DATE");
    }
    SocketPair pair;
    HttpRequest request;
};

constexpr const char* kEnd = "EXT:\r\nServer:Linux/2.x.x, UPnP/1.0, Pelorama UPnP SDK/1.0\r\n\r\n";

constexpr const char* kHtmlError =
    "Content-Type: text/html; charset=UTF-8\r\nContent-Length: 5\r\nDate: DATE\r\nConnection: keep-alive\r\n";
constexpr const char* kAudio =
    "Content-Type: audio/mpeg\r\nContent-Length: 5\r\nDate: DATE\r\nConnection: keep-alive\r\n";
const std::string kRange = "Content-Range: bytes 100-104/5000000000\r\n";

TEST_F(Answer, HeaderIsGivenToTheByte) {
    const struct {
        const char* name;
        int status;
        int version;
        const char* request_line;
        std::string expected;  // up to EXT
    } rows[] = {
        {"ok", 200, 11, "", std::string{"HTTP/1.1 200 OK\r\n"} + kAudio},
        {"partial", 206, 11, "", std::string{"HTTP/1.1 206 Partial Content\r\n"} + kAudio + kRange},
        {"partial_10", 206, 10, "", std::string{"HTTP/1.0 200 OK\r\n"} + kAudio},
        {"time_seek", 206, 11, "TimeSeekRange.dlna.org: npt=1-", std::string{"HTTP/1.1 200 OK\r\n"} + kAudio + kRange},
        {"time_seek_other_case", 206, 11, "timeseekrange.dlna.org: npt=1-",
         std::string{"HTTP/1.1 206 Partial Content\r\n"} + kAudio + kRange},
        {"not_found", 404, 11, "", std::string{"HTTP/1.1 404 Not Found\r\n"} + kHtmlError},
        {"range", 416, 11, "", std::string{"HTTP/1.1 416 Requested Range Not Satisfiable\r\n"} + kHtmlError},
        {"fault_402_is_ok_on_the_wire", 402, 11, "", std::string{"HTTP/1.1 200 OK\r\n"} + kAudio},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        request.version = c.version;
        request.content_type = "audio/mpeg";
        request.header = std::string{"GET / HTTP/1.1\r\n"} + c.request_line + "\r\n\r\n";
        request.range_first = 100;
        request.range_last = 104;
        request.range_total = 5'000'000'000;
        EXPECT_TRUE(http_send_header(request, c.status));
        EXPECT_EQ(sent(), c.expected + kEnd);
    }
}

TEST_F(Answer, TakesCloseLengthTypeAndExtraLinesFromTheRecord) {
    request.close = true;
    request.content_length = -1;
    request.content_type.clear();
    request.extra_headers = "SID: uuid:1\r\nTIMEOUT: Second-300\r\n";
    EXPECT_TRUE(http_send_header(request, 200));
    EXPECT_EQ(sent(), std::string{"HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\nDate: DATE\r\n"
                                  "Connection: close\r\nSID: uuid:1\r\nTIMEOUT: Second-300\r\n"} +
                          kEnd);
    // Never sent half.
    request.extra_headers = "X: " + std::string(1000, 'x') + "\r\n";
    EXPECT_FALSE(http_send_header(request, 200));
    EXPECT_EQ(sent(), "");
}

TEST_F(Answer, NotFoundNamesTheUrlWithoutLettingItIn) {
    request.url = "/<b>\"&'";
    request.close = true;
    EXPECT_EQ(http_send_not_found(request), HandlerResult::keep);
    EXPECT_EQ(request.content_type, "audio/mpeg");
    const std::string page =
        "<HTML><HEAD><TITLE>404 Not Found</TITLE></HEAD><BODY><H1>Not Found</H1>/&lt;b&gt;&quot;&amp;&#39; was not "
        "found on this server.</BODY></HTML>";
    EXPECT_EQ(sent(), std::string{"HTTP/1.1 404 Not Found\r\nContent-Type: text/html; charset=UTF-8\r\n"
                                  "Content-Length: 141\r\nDate: DATE\r\nConnection: close\r\n"} +
                          kEnd + page);
    request.url = std::string(255, '"');
    EXPECT_EQ(http_send_not_found(request), HandlerResult::keep);
    EXPECT_TRUE(sent().ends_with("&quot; was not found on this server.</BODY></HTML>"));
}

TEST_F(Answer, ToAPeerThatLeftClosesTheConnection) {
    pair.far.close();
    EXPECT_EQ(http_send_text(request, 200, "text/xml", "<a/>"), HandlerResult::close);
}

}  // namespace
