// What an FTP server says on its control connection: whatever comes before it closes, the reply keeps its limit, ends
// with the line that has its number, and loses nothing of what follows it.
#include <sys/socket.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "core/bytes.h"
#include "core/socket.h"
#include "net/ftp_control.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kWhatFits = 16 * 1024;  // the socket takes this without a reader
    const std::string_view sent = as_text(std::as_bytes(std::span{data, std::min(size, kWhatFits)}));
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) std::abort();
    const Socket reader{ends[0]};
    Socket writer{ends[1]};
    if (!socket_send_all(writer.fd(), sent)) std::abort();
    writer.close();

    FtpReply reply;
    for (std::size_t replies = 0;; ++replies) {
        const int code = ftp_command(reader.fd(), {}, &reply);
        if (code < 0 || code > 999 || reply.text.size() + reply.rest.size() > 1023) std::abort();
        if (reply.text.empty()) break;
        if (replies > sent.size() / 4) std::abort();
        if (sent.find(reply.text + reply.rest) == std::string_view::npos) std::abort();
        const auto passive = ftp_reply_passive(reply.text);
        const auto length = ftp_reply_size(reply.text);
        if ((passive && reply.text.size() < 11) || (length && *length < 0)) std::abort();
    }
    const Text user = ftp_user_from_url(sent);
    const Text path = ftp_path_from_url(sent);
    if (user && (user->empty() || user->find(':') != std::string::npos)) std::abort();
    if (path && !path->starts_with('/')) std::abort();
    if (ftp_is_sendable(sent) && ftp_password_from_url(sent).find_first_of("\r\n") != std::string::npos) std::abort();
    return 0;
}
