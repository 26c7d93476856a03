#include "net/body.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "core/url_decode.h"

namespace {

constexpr std::size_t kSizeLineBytes = 20;
constexpr std::size_t kSizeDigits = 16;  // what a 64-bit number holds

BodyEnd early_end(const SocketReader& reader) {
    return reader.end() == SocketReader::End::late ? BodyEnd::late : BodyEnd::closed;
}

// The hexadecimal number a size line begins with; what follows it (an extension, the line end) does not matter.
std::optional<std::uint64_t> parse_chunk_size(std::string_view line) {
    std::uint64_t size = 0;
    std::size_t digits = 0;
    while (digits < line.size() && hex_digit(line[digits]) >= 0) {
        if (digits == kSizeDigits) return std::nullopt;
        size = size << 4 | static_cast<std::uint64_t>(hex_digit(line[digits++]));
    }
    return digits > 0 ? std::optional{size} : std::nullopt;
}

class ChunkReader {
public:
    ChunkReader(int socket, const BodyLimits& limits)
        : reader_(socket, limits.silence_ms, limits.deadline_ms), limit_(limits.bytes) {}

    ReadBody read() {
        while (take_chunk()) {
        }
        return std::move(body_);
    }

private:
    // True when another chunk follows.
    bool take_chunk() {
        const auto size = http_read_chunk_size(reader_);
        if (!size) return end(why_none());
        if (*size > limit_ - body_.text.size()) return end(BodyEnd::too_large);
        if (!reader_.append(body_.text, *size)) return end(early_end(reader_));
        if (!http_read_chunk_end(reader_)) return end(why_none());
        return *size > 0;
    }

    BodyEnd why_none() const {
        return reader_.end() == SocketReader::End::open ? BodyEnd::malformed : early_end(reader_);
    }

    bool end(BodyEnd how) {
        body_.end = how;
        return false;
    }

    SocketReader reader_;
    std::size_t limit_;
    ReadBody body_;
};

}  // namespace

ReadBody http_read_sized(int socket, std::int64_t length, const BodyLimits& limits) {
    ReadBody body;
    const auto bytes = static_cast<std::uint64_t>(std::max<std::int64_t>(length, 0));
    if (bytes > limits.bytes) {
        body.end = BodyEnd::too_large;
        return body;
    }
    SocketReader reader{socket, limits.silence_ms, limits.deadline_ms};
    if (!reader.append(body.text, bytes)) body.end = early_end(reader);
    return body;
}

ReadBody http_read_chunks(int socket, const BodyLimits& limits) {
    return ChunkReader{socket, limits}.read();
}

// Peeks before it takes: the bytes after the line end are data, which the caller may move without reading them here.
std::optional<std::uint64_t> http_read_chunk_size(SocketReader& reader) {
    std::array<char, kSizeLineBytes> line;
    std::size_t length = 0;
    while (length < line.size()) {
        const std::size_t seen = reader.peek(std::span{line}.subspan(length));
        const std::string_view piece{line.data() + length, seen};
        const std::size_t line_feed = piece.find('\n');
        const bool whole = line_feed != std::string_view::npos;
        const std::size_t taken = whole ? line_feed + 1 : seen;
        if (seen == 0 || !reader.skip(taken)) return std::nullopt;
        length += taken;
        if (whole) return parse_chunk_size({line.data(), length});
    }
    return std::nullopt;
}

bool http_read_chunk_end(SocketReader& reader) {
    std::string line_end;
    return reader.append(line_end, 2) && line_end == "\r\n";
}

ReadBody http_read_to_close(int socket, const BodyLimits& limits) {
    ReadBody body;
    SocketReader reader{socket, limits.silence_ms, limits.deadline_ms};
    // Asks for one byte more than the limit, to tell a body of exactly that size from a longer one.
    if (reader.append(body.text, limits.bytes + 1)) {
        body.end = BodyEnd::too_large;
    } else if (reader.end() != SocketReader::End::closed) {
        body.end = early_end(reader);
    }
    return body;
}
