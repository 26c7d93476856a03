// Reading bodies off a socket: by length, in chunks, or up to the close. Nothing is allocated from an announced length;
// the text grows as bytes arrive.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "net/socket_reader.h"

enum class BodyEnd {
    complete,
    closed,     // the peer stopped early; the text is what came
    late,       // it was too slow
    too_large,  // more than the limit was announced or came; what is left of it is still in the socket
    malformed,  // not the chunked coding
};
struct ReadBody {
    std::string text;
    BodyEnd end = BodyEnd::complete;
};

struct BodyLimits {
    std::size_t bytes;  // of the text
    int silence_ms;     // between two pieces
    int deadline_ms;    // for the whole
};

// length is not negative.
ReadBody http_read_sized(int socket, std::int64_t length, const BodyLimits& limits);

// Chunked transfer coding (RFC 9112, section 7.1): a size line of at most 20 bytes with its LF, the data, a line end; a
// size of 0 ends. Leaves everything after the last line end in the socket.
ReadBody http_read_chunks(int socket, const BodyLimits& limits);

// The same in parts, for bodies that are passed on rather than kept: the size line before a chunk's data, and the line
// end after it. They return nullopt and false if the socket ended (the reader tells why) or the bytes are something
// else.
std::optional<std::uint64_t> http_read_chunk_size(SocketReader& reader);
bool http_read_chunk_end(SocketReader& reader);

ReadBody http_read_to_close(int socket, const BodyLimits& limits);
