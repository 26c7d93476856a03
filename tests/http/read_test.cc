#include "net/read.h"

#include <gtest/gtest.h>

#include "net/body.h"
#include "support/sockets.h"

namespace {

constexpr BodyLimits kLimits{.bytes = 100, .silence_ms = 5000, .deadline_ms = 5000};

std::string header_of(std::size_t bytes) {
    return "GET / HTTP/1.1\r\nX: " + std::string(bytes - 23, 'x') + "\r\n\r\n";
}

TEST(Header, EndsAtItsLastLineOrAtTheLimit) {
    const struct {
        const char* name;
        std::string sent;
        HeaderEnd end;
        std::size_t kept, left;
    } rows[] = {
        // A CR or LF out of place starts the count anew.
        {"odd_line_ends", "GET / HTTP/1.1\r\nA: \r\r\n\n\r\n\r\r\n\r\n\r\nnext", HeaderEnd::complete, 34, 4},
        {"ends_before_it_is_complete", "GET / HTTP/1.1\r\n\r", HeaderEnd::none, 0, 0},
        {"complete_of_1023", header_of(1023), HeaderEnd::complete, 1023, 0},
        {"complete_of_1024", header_of(1024), HeaderEnd::complete, 1023, 0},
        {"complete_of_1025", header_of(1025), HeaderEnd::too_small, 1023, 1},
        {"endless_1023", std::string(1023, 'x'), HeaderEnd::none, 0, 0},
        {"endless", std::string(kWhatFits, 'x'), HeaderEnd::too_small, 1023, kWhatFits - 1024},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        const Socket socket = fed_socket(c.sent);
        const ReadHeader header = http_read_header(socket.fd());
        EXPECT_EQ(header.end, c.end);
        EXPECT_EQ(header.text, c.sent.substr(0, c.kept));
        EXPECT_EQ(read_to_end(socket).size(), c.left);
    }
}

TEST(Chunks, AreJoinedUpToTheLast) {
    const std::string hundred(100, 'x');
    const struct {
        std::string sent;
        BodyEnd end;
        std::string text, left;
    } rows[] = {
        {"5\r\nhello\r\n6;a=b\r\n world\r\n0\r\n\r\nGET /", BodyEnd::complete, "hello world", "GET /"},
        {"000A\n0123456789\r\n0\n\r\n", BodyEnd::complete, "0123456789", ""},
        {"64\r\n" + hundred + "\r\n0\r\n\r\n", BodyEnd::complete, hundred, ""},
        {"64\r\n" + hundred + "\r\n1\r\ny", BodyEnd::too_large, hundred, "y"},
        {"-1\r\n", BodyEnd::malformed, "", ""},
        {"fffffffffffffff0\r\n", BodyEnd::too_large, "", ""},
        {"10000000000000005\r\n", BodyEnd::malformed, "", ""},
        {"123456789012345678901\r\n", BodyEnd::malformed, "", "1\r\n"},
        {"2\r\nhixx0\r\n\r\n", BodyEnd::malformed, "hi", "0\r\n\r\n"},
        {"2", BodyEnd::closed, "", ""},
        {"5\r\nhel", BodyEnd::closed, "hel", ""},
        {"2\r\nhi\r\n0\r\nX: y\r\n\r\n", BodyEnd::malformed, "hi", " y\r\n\r\n"},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.sent);
        const Socket socket = fed_socket(c.sent);
        const ReadBody body = http_read_chunks(socket.fd(), kLimits);
        EXPECT_EQ(body.end, c.end);
        EXPECT_EQ(body.text, c.text);
        EXPECT_EQ(read_to_end(socket), c.left);
    }
}

TEST(Body, ByCloseTakesAllUpToTheLimit) {
    EXPECT_EQ(http_read_to_close(fed_socket(std::string(100, 'x')).fd(), kLimits).end, BodyEnd::complete);
    EXPECT_EQ(http_read_to_close(fed_socket(std::string(101, 'x')).fd(), kLimits).end, BodyEnd::too_large);
}

TEST(Body, ThatIsTooSlowIsLate) {
    const ConnectedSockets sockets;
    socket_send_all(sockets.far.fd(), "4\r\nhi");
    EXPECT_EQ(http_read_sized(sockets.near.fd(), 99, {100, 20, 5000}).end, BodyEnd::late) << "silence";
    EXPECT_EQ(http_read_chunks(sockets.near.fd(), {100, 5000, 20}).end, BodyEnd::late) << "deadline";
    EXPECT_EQ(http_read_to_close(sockets.near.fd(), {100, 20, 20}).end, BodyEnd::late);
}

}  // namespace
