// The header of another server's answer and what it leads to: nothing of it becomes a header line or a URL scheme of
// its own.
#include "net/http_header.h"
#include "target.h"

void fuzz(Bytes input) {
    const std::string_view text = as_text(input);
    const int status = http_answer_status(text);
    require(status >= 0 && status <= 999);
    if (const auto body = http_answer_body(text))
        require((body->coding == AnswerBody::Coding::by_length) == (body->length >= 0));
    for (const std::string_view prefix : {"icy-", "Accept-Ranges", ""}) {
        const std::string lines = http_header_lines(text, prefix);
        for (std::size_t at = 0; at < lines.size();) {
            const std::size_t end = lines.find_first_of("\r\n", at);
            require(end != std::string::npos && lines.compare(end, 2, "\r\n") == 0);
            require(str_starts_nocase(std::string_view{lines}.substr(at), prefix));
            at = end + 2;
        }
    }
    const std::string location = http_header_value(text, "Location").value_or("");
    require(location.find_first_of("\r\n") == std::string::npos);
    for (const std::string_view base : {"http://h/a/b?c", "http://h"}) {
        const Text url = http_resolve_location(base, location);
        require(!url || url->starts_with("http://"));
    }
    http_is_playlist(http_header_value(text, "Content-Type").value_or(""), location);
    const Text entry = http_first_playlist_entry(text);
    require(!entry || (entry->starts_with("http://") && entry->find_first_of("\r\n") == std::string::npos));
}
