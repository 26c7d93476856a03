// The header of another server's answer and what it leads to: nothing of it becomes a header line or a URL scheme of
// its own.
#include <cstdint>
#include <cstdlib>

#include "core/bytes.h"
#include "http/answer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = as_text(std::as_bytes(std::span{data, size}));
    const int status = http_answer_status(text);
    if (status < 0 || status > 999) std::abort();
    if (const auto body = http_answer_body(text)) {
        const bool by_length = body->coding == AnswerBody::Coding::by_length;
        if (by_length != (body->length >= 0)) std::abort();
    }
    for (const std::string_view prefix : {"icy-", "Accept-Ranges", ""}) {
        const std::string lines = http_header_lines(text, prefix);
        for (std::size_t at = 0; at < lines.size();) {
            const std::size_t end = lines.find_first_of("\r\n", at);
            if (end == std::string::npos || lines.compare(end, 2, "\r\n") != 0) std::abort();
            if (!str_starts_nocase(std::string_view{lines}.substr(at), prefix)) std::abort();
            at = end + 2;
        }
    }
    const std::string location = http_header_value(text, "Location").value_or("");
    if (location.find_first_of("\r\n") != std::string::npos) std::abort();
    for (const std::string_view base : {"http://h/a/b?c", "http://h"}) {
        const Text url = http_resolve_location(base, location);
        if (url && !url->starts_with("http://")) std::abort();
    }
    http_is_playlist(http_header_value(text, "Content-Type").value_or(""), location);
    const Text entry = http_first_playlist_entry(text);
    if (entry && (!entry->starts_with("http://") || entry->find_first_of("\r\n") != std::string::npos)) std::abort();
    return 0;
}
