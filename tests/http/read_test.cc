#include "net/read.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "net/body.h"
#include "support/http_peer.h"

namespace {

constexpr BodyLimits kLimits{.bytes = 100, .silence_ms = 5000, .deadline_ms = 5000};

std::string header_of(std::size_t bytes) {
    return "GET / HTTP/1.1\r\nX: " + std::string(bytes - 23, 'x') + "\r\n\r\n";
}

TEST(ReadHeader, PutsPiecesTogether) {
    // No end before the last four bytes: a CR or LF out of place starts the count anew.
    const std::string whole = "GET / HTTP/1.1\r\nA: \r\r\n\n\r\n\r\r\n\r\n\r\n";
    SocketPair pair;
    {
        const std::jthread sender{[&] {
            for (const char c : whole) pair.far.send({&c, 1});
            pair.far.send("next");
        }};
        EXPECT_EQ(http_read_header(pair.near.fd()).text, whole);
    }
    EXPECT_EQ(pair.near.read_until("next"), "next");
}

TEST(HeaderLength, IsBounded) {
    const struct {
        const char* name;
        std::string sent;
        HeaderEnd end;
        std::size_t kept, left;
    } rows[] = {
        {"ends_before_it_is_complete", "GET / HTTP/1.1\r\n\r", HeaderEnd::none, 0, 0},
        {"complete_of_1023", header_of(1023), HeaderEnd::complete, 1023, 0},
        {"complete_of_1024", header_of(1024), HeaderEnd::complete, 1023, 0},
        {"complete_of_1025", header_of(1025), HeaderEnd::too_small, 1023, 1},
        {"endless_1023", std::string(1023, 'x'), HeaderEnd::none, 0, 0},
        {"endless_65536", std::string(65536, 'x'), HeaderEnd::too_small, 1023, 64512},
    };
    for (const auto& c : rows) {
        SCOPED_TRACE(c.name);
        SocketPair pair;
        pair.far.send(c.sent);
        pair.far.end_sending();
        const ReadHeader header = http_read_header(pair.near.fd());
        EXPECT_EQ(header.end, c.end);
        EXPECT_EQ(header.text, c.sent.substr(0, c.kept));
        EXPECT_EQ(pair.near.read_all().size(), c.left);
    }
}

TEST(Chunks, AreJoinedUpToTheLast) {
    const struct {
        std::string sent;
        BodyEnd end;
        std::string text, left;
    } rows[] = {
        {"5\r\nhello\r\n6;a=b\r\n world\r\n0\r\n\r\nGET /", BodyEnd::complete, "hello world", "GET /"},
        {"000A\n0123456789\r\n0\n\r\n", BodyEnd::complete, "0123456789", ""},
        {"64\r\n" + std::string(100, 'x') + "\r\n0\r\n\r\n", BodyEnd::complete, std::string(100, 'x'), ""},
        {"64\r\n" + std::string(100, 'x') + "\r\n1\r\ny", BodyEnd::too_large, std::string(100, 'x'), "y"},
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
        SocketPair pair;
        pair.far.send(c.sent);
        pair.far.end_sending();
        const ReadBody body = http_read_chunks(pair.near.fd(), kLimits);
        EXPECT_EQ(body.end, c.end);
        EXPECT_EQ(body.text, c.text);
        EXPECT_EQ(pair.near.read_all(), c.left);
    }
}

TEST(ReadBody, ByCloseTakesAllUpToTheLimit) {
    for (const std::size_t size : {kLimits.bytes, kLimits.bytes + 1}) {
        SocketPair pair;
        pair.far.send(std::string(size, 'x'));
        pair.far.end_sending();
        const ReadBody body = http_read_to_close(pair.near.fd(), kLimits);
        EXPECT_EQ(body.end, size <= kLimits.bytes ? BodyEnd::complete : BodyEnd::too_large) << size;
    }
}

TEST(ReadBody, ThatIsTooSlowIsLate) {
    SocketPair pair;
    pair.far.send("4\r\nhi");
    EXPECT_EQ(http_read_sized(pair.near.fd(), 99, {100, 20, 5000}).end, BodyEnd::late) << "silence";
    EXPECT_EQ(http_read_chunks(pair.near.fd(), {100, 5000, 20}).end, BodyEnd::late) << "deadline";
    EXPECT_EQ(http_read_to_close(pair.near.fd(), {100, 20, 20}).end, BodyEnd::late);
}

}  // namespace
