// Chunked bodies: whatever a peer sends before it closes, the text keeps its limit and what follows a complete body
// stays in the socket.
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "core/bytes.h"
#include "core/socket.h"
#include "http/body.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kWhatFits = 16 * 1024;  // the socket takes this without a reader
    constexpr BodyLimits kLimits{.bytes = 1000, .silence_ms = 1000, .deadline_ms = 1000};
    const std::string_view sent = as_text(std::as_bytes(std::span{data, std::min(size, kWhatFits)}));
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
    const Socket reader{ends[0]};
    Socket writer{ends[1]};
    if (!socket_send_all(writer.fd(), sent)) std::abort();
    writer.close();

    const ReadBody body = http_read_chunks(reader.fd(), kLimits);
    if (body.text.size() > kLimits.bytes || body.text.size() > sent.size() || body.end == BodyEnd::late) std::abort();
    if (body.end != BodyEnd::complete) return 0;
    const ReadBody rest = http_read_to_close(reader.fd(), {kWhatFits, 1000, 1000});
    const std::size_t taken = sent.size() - rest.text.size();
    if (rest.end != BodyEnd::complete || !sent.ends_with(rest.text)) std::abort();
    if (!sent.substr(0, taken).ends_with("\r\n")) std::abort();
    return 0;
}
