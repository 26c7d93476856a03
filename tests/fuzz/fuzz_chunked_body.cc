// Chunked bodies: whatever a peer sends before it closes, the text keeps its limit and what follows a complete body
// stays in the socket.
#include "../support/sockets.h"
#include "net/body.h"
#include "target.h"

void fuzz(Bytes input) {
    constexpr BodyLimits kLimits{.bytes = 1000, .silence_ms = 1000, .deadline_ms = 1000};
    const std::string_view sent = as_text(input).substr(0, kWhatFits);
    const Socket reader = fed_socket(sent);
    const ReadBody body = http_read_chunks(reader.fd(), kLimits);
    require(body.text.size() <= kLimits.bytes && body.text.size() <= sent.size() && body.end != BodyEnd::late);
    if (body.end != BodyEnd::complete) return;
    const ReadBody rest = http_read_to_close(reader.fd(), {kWhatFits, 1000, 1000});
    require(rest.end == BodyEnd::complete && sent.ends_with(rest.text));
    require(sent.substr(0, sent.size() - rest.text.size()).ends_with("\r\n"));
}
