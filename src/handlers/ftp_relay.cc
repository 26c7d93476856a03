// How it works. Two connections to the FTP server (RFC 959) and two threads:
//
//     request's thread   control connection: USER, PASS, TYPE, SIZE, PASV, header to the client, RETR, reply 226, QUIT
//     data thread        data connection: connects after the header is sent, moves the file into the client's socket
//
// The two share a Transfer. While the data thread is busy, the control connection may be silent for any time. A refusal
// of RETR cancels the transfer; the request's thread joins the data thread before it returns. The connection to the
// client is kept only if exactly the announced number of bytes went out.
#include "handlers/ftp_relay.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "core/log.h"
#include "core/socket.h"
#include "core/str.h"
#include "core/thread.h"
#include "http/request.h"
#include "http/respond.h"
#include "net/client.h"
#include "net/ftp_control.h"
#include "net/socket_copy.h"
#include "net/source.h"

namespace {

constexpr std::int64_t kPieceBytes = 1024 * 1024;
constexpr int kMostPreliminary = 100;  // preliminary replies (1xx) to one RETR
constexpr int kQuitMs = 2000;

// What the two threads of a transfer share. Lives in the request's thread, which joins the other one first.
struct Transfer {
    std::string host;  // dotted
    std::uint16_t port = 0;
    int client = -1;
    std::int64_t length = -1;  // what was announced to the client; negative: nothing was
    const FtpProgress& progress;

    std::atomic<bool> busy{true};
    std::int64_t sent = 0;  // to be read after the join
    bool complete = false;  // the server has ended it, and the client took everything

    std::mutex mutex{};
    int data_socket = -1;
    bool cancelled = false;

    // Wakes the data thread, now or once it is connected.
    void cancel() {
        std::scoped_lock lock{mutex};
        cancelled = true;
        if (data_socket >= 0) socket_shutdown(data_socket);
    }
    bool begin(int socket) {
        std::scoped_lock lock{mutex};
        data_socket = socket;
        return !cancelled;
    }
    void end() {
        std::scoped_lock lock{mutex};
        data_socket = -1;
    }
};

void copy_file(Transfer& transfer, int data_socket) {
    SocketCopy copy{data_socket, transfer.client, kSourceSilenceMs};
    std::int64_t n = 0;
    // If the file has grown since its size was announced, the rest is left out: the client would take it for the next
    // response.
    const std::int64_t most = transfer.length < 0 ? std::numeric_limits<std::int64_t>::max() : transfer.length;
    do {
        n = copy.move(std::min(kPieceBytes, most - transfer.sent));
        log_message(LOG_INFO, LOG_HTTP, "FTP data transfer %ld bytes\n", static_cast<long>(n));
        transfer.sent += n;
        if (n > 0 && transfer.progress) transfer.progress(transfer.sent);
    } while (n > 0 && transfer.sent < most);
    if (copy.end() == SocketCopy::End::client_gone)
        log_message(LOG_INFO, LOG_HTTP, "FTP data transfer interupted by client\n");
    transfer.complete = copy.end() == SocketCopy::End::source_ended || transfer.sent == transfer.length;
}

void ftp_data_thread(Transfer& transfer) {
    log_message(LOG_INFO, LOG_HTTP, "opening FTP data connection: %s\n", transfer.host.c_str());
    const SourceConnection data{socket_connect(ipv4_endpoint(ipv4_parse(transfer.host), transfer.port), kConnectMs)};
    if (!data) {
        const int reason = errno;
        log_message(LOG_ERROR, LOG_HTTP, "FTP data could not connect: %s\n", transfer.host.c_str());
        errno = reason;
        print_error("connect");
    } else {
        if (transfer.begin(data.fd())) copy_file(transfer, data.fd());
        transfer.end();
        socket_shutdown(data.fd());
        log_message(LOG_INFO, LOG_HTTP, "FTP data transfer completed.\n");
    }
    transfer.busy = false;
}

class Relay {
public:
    Relay(const HttpRequest& request, HttpResponse& response, SourceConnection control, const FtpProgress& progress)
        : request_(request), response_(response), control_(std::move(control)), progress_(progress) {}

    HandlerResult run(std::string_view source, const std::string& path) {
        int code = command({});
        if (code != 220) return refused("Connection Establishment", code);
        const Text user = ftp_user_from_url(source);
        if (!user) return failed();
        if (const auto refusal = log_in(*user, ftp_password_from_url(source))) return *refusal;
        // Kept on purpose: this step is reported by the name of the one before.
        if (code = command("TYPE I\r\n"); code != 200) return refused("Login USER", code);

        code = command("SIZE " + path + "\r\n");
        if (code != 213 && code != 502) return refused("SIZE", code);
        const auto size = code == 213 ? ftp_reply_size(reply_.text) : std::nullopt;
        if (!size) {
            log_message(LOG_INFO, LOG_HTTP, "%s\n", code == 502 ? "SIZE: Command not implemented" : "SIZE unknown");
            response_.close = true;
        }
        response_.content_length = size.value_or(-1);
        if (request_.method == kHead) {
            const bool sent = answer(BodyFollows::no);
            quit();
            return sent ? HandlerResult::keep : HandlerResult::close;
        }

        code = command("PASV\r\n");
        if (code != 227) return refused("PASV", code);
        const auto passive = ftp_reply_passive(reply_.text);
        if (!passive) {
            log_message(LOG_ERROR, LOG_HTTP, "could not parse IP and port: %s\n", reply_.text.c_str());
            return refused("PASV", code);
        }
        return transfer_file(path, *passive);
    }

private:
    int command(std::optional<std::string_view> text, int silence_ms = kFtpSilenceMs) {
        return ftp_command(control_.fd(), text, &reply_, silence_ms);
    }

    // Returns nullopt if the server lets us in, otherwise the result of the refused request.
    std::optional<HandlerResult> log_in(const std::string& user, const std::string& password) {
        int code = command("USER " + user + "\r\n");
        if (code == 230) return std::nullopt;
        if (code != 331) return refused("Login USER", code);
        code = command("PASS " + password + "\r\n", kFtpLoginMs);
        if (code == 230 || code == 202) return std::nullopt;
        return refused("Login PASS", code);
    }

    HandlerResult transfer_file(const std::string& path, const std::array<std::uint8_t, 6>& passive) {
        log_message(LOG_INFO, LOG_HTTP, "PASSIVE MODE %d,%d,%d,%d,%d,%d\n", passive[0], passive[1], passive[2],
                    passive[3], passive[4], passive[5]);
        // The address in the reply is not used: a server in a network of its own may name one that is wrong out here.
        Transfer transfer{.host = socket_peer(control_.fd()),
                          .port = static_cast<std::uint16_t>(passive[4] << 8 | passive[5]),
                          .client = request_.socket,
                          .length = response_.content_length,
                          .progress = progress_};
        // Before the thread starts: a server that sends its file without a RETR must not get ahead of the header.
        if (!answer(BodyFollows::yes)) return HandlerResult::close;
        auto thread = thread_start([&transfer] { ftp_data_thread(transfer); });
        if (!thread) return HandlerResult::close;

        const int code = retrieve(path, transfer);
        const bool done = code == 226 || code == 250;
        if (done) {
            quit();
        } else {
            transfer.cancel();
        }
        thread->join();
        // Kept on purpose: a refusal that comes this late is sent all the same, after the other status.
        if (!done) return refused("RETR", code);
        const bool whole = transfer.complete && transfer.sent == response_.content_length;
        return whole ? HandlerResult::keep : HandlerResult::close;
    }

    int retrieve(const std::string& path, const Transfer& transfer) {
        const FtpBusy busy = [&transfer] { return transfer.busy.load(); };
        int code = ftp_command(control_.fd(), "RETR " + path + "\r\n", &reply_, kFtpSilenceMs, busy);
        for (int i = 0; i < kMostPreliminary && (code == 150 || code == 125 || code == 110); ++i)
            code = ftp_command(control_.fd(), {}, &reply_, kFtpSilenceMs, busy);
        return code;
    }

    bool answer(BodyFollows body) {
        if (!http_send_header(request_, response_, body)) return false;
        if (progress_) progress_(0);
        return true;
    }

    // Kept on purpose: no line end. Closing our side of the connection after it makes the server read the command all
    // the same.
    void quit() {
        reply_.rest.clear();
        socket_send_all(control_.fd(), "QUIT");
        shutdown(control_.fd(), SHUT_WR);
        log_message(LOG_INFO, LOG_HTTP, "FTP command: QUIT\n");
        const int code = ftp_command(control_.fd(), {}, &reply_, kQuitMs);
        if (code != 221) log_message(LOG_ERROR, LOG_HTTP, "QUIT: %d\n", code);
    }

    HandlerResult refused(const char* step, int code) {
        log_message(LOG_ERROR, LOG_HTTP, "%s: %d\n", step, code);
        response_.close = true;
        http_send_not_found(request_, response_);
        return HandlerResult::close;
    }

    HandlerResult failed() {
        response_.close = true;
        response_.content_length = 0;
        response_.status = 500;
        http_send_header(request_, response_);
        return HandlerResult::close;
    }

    const HttpRequest& request_;
    HttpResponse& response_;
    const SourceConnection control_;
    const FtpProgress& progress_;
    FtpReply reply_;
};

}  // namespace

HandlerResult ftp_relay(const HttpRequest& request, HttpResponse& response, std::string_view source,
                        const FtpProgress& progress) {
    const Text path = ftp_path_from_url(source);
    if (!path || !ftp_is_sendable(source)) return http_send_not_found(request, response);
    // Connects with the URL up to its path: FTP allows file names that an HTTP URL may not hold.
    SourceConnection control{http_connect(source.substr(0, source.size() - path->size() + 1))};
    if (!control) return http_send_not_found(request, response);
    return Relay{request, response, std::move(control), progress}.run(source, *path);
}
