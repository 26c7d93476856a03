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
    malformed,  // chunks that cannot be told apart
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
// size of 0 ends. Takes nothing behind the last line end.
ReadBody http_read_chunks(int socket, const BodyLimits& limits);

// The same piece by piece, for bodies that are passed on rather than kept: a size line, and the line end behind that
// many bytes of data. Missing and false when the socket came to an end (which the reader knows) or what came is
// neither.
std::optional<std::uint64_t> http_read_chunk_size(SocketReader& reader);
bool http_read_chunk_end(SocketReader& reader);

ReadBody http_read_to_close(int socket, const BodyLimits& limits);
