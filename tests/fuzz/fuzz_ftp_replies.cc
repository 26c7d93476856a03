// What an FTP server says on its control connection: whatever comes before it closes, the reply keeps its limit, ends
// with the line that has its number, and loses nothing of what follows it.
#include "../support/sockets.h"
#include "net/ftp_control.h"
#include "target.h"

void fuzz(Bytes input) {
    const std::string_view sent = as_text(input).substr(0, kWhatFits);
    const Socket reader = fed_socket(sent);
    FtpReply reply;
    for (std::size_t replies = 0;; ++replies) {
        const int code = ftp_command(reader.fd(), {}, &reply);
        require(code >= 0 && code <= 999 && reply.text.size() + reply.rest.size() <= 1023);
        if (reply.text.empty()) break;
        require(replies <= sent.size() / 4);
        require(str_contains(sent, reply.text + reply.rest));
        require(!ftp_reply_passive(reply.text) || reply.text.size() >= 11);
        require(ftp_reply_size(reply.text).value_or(0) >= 0);
    }
    const Text user = ftp_user_from_url(sent);
    const Text path = ftp_path_from_url(sent);
    require(!user || (!user->empty() && user->find(':') == std::string::npos));
    require(!path || path->starts_with('/'));
    require(!ftp_is_sendable(sent) || ftp_password_from_url(sent).find_first_of("\r\n") == std::string::npos);
}
