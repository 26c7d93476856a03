#include "net/ftp_control.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "core/log.h"
#include "core/socket.h"
#include "core/str.h"
#include "core/thread.h"
#include "net/socket_reader.h"

namespace {

constexpr std::string_view kScheme = "ftp://";
constexpr std::string_view kAnonymous = "anonymous";
constexpr std::string_view kAnonymousPassword = "anonymous@pelorama.invalid";

constexpr std::size_t kReplyBytes = 1024;  // the terminator of a reply buffer included
constexpr std::size_t kMostBytes = 64 * 1024;
constexpr int kReplyDeadlineMs = 60'000;
constexpr int kLineEndMs = 1000;
constexpr int kLookMs = 200;

// The text between the scheme and the first "@".
std::optional<std::string_view> login_of(std::string_view url) {
    const std::size_t at = url.find('@');
    if (at == std::string_view::npos) return std::nullopt;
    return url.substr(std::min(kScheme.size(), at), at - std::min(kScheme.size(), at));
}

bool is_final(std::string_view line) {
    return line.size() > 4 && char_is_digit(line[0]) && char_is_digit(line[1]) && char_is_digit(line[2]) &&
           line[3] == ' ';
}

// Reads one reply: lines up to a final one, three digits and a blank. Bytes arrive in any pieces, and what arrives
// after the final line belongs to the next reply. A reply that is longer than kReplyBytes loses its beginning.
class ReplyReader {
public:
    ReplyReader(int socket, std::string held, int silence_ms, const FtpBusy& busy)
        : socket_(socket), silence_ms_(silence_ms), busy_(busy), held_(std::move(held)) {}

    // Returns the number of the final line; 0 if none came.
    int read(FtpReply& reply) {
        while (!find_final_line()) {
            if (held_.size() >= kReplyBytes - 1) {
                log_message(LOG_INFO, LOG_HTTP, "FTP reply buffer too small, discarding: %s\n", held_.c_str());
                held_.clear();
                line_ = 0;
            }
            if (taken_ > kMostBytes || !receive(silence_ms_)) {
                log_message(LOG_ERROR, LOG_HTTP, "bad reply code from ftp server:\n%s\n", held_.c_str());
                reply = {};
                return 0;
            }
        }
        // The rest of the final line may still be on its way, and it holds the size or the port.
        while (held_.find('\n', line_) == std::string::npos && held_.size() < kReplyBytes - 1 && receive(kLineEndMs)) {
        }
        const std::size_t end = std::min(held_.find('\n', line_), held_.size() - 1) + 1;
        const int code = text_int(std::string_view{held_}.substr(line_, 3));
        reply = {.text = held_.substr(0, end), .rest = held_.substr(end)};
        log_message(LOG_INFO, LOG_HTTP, "FTP reply: %s\n", reply.text.c_str());
        return code;
    }

private:
    bool find_final_line() {
        while (held_.size() - line_ > 4) {
            if (is_final(std::string_view{held_}.substr(line_))) return true;
            const std::size_t end = held_.find("\r\n", line_);
            if (end == std::string::npos) return false;
            line_ = end + 2;
        }
        return false;
    }

    // Waits in short steps, so that a file that is being transferred (busy_) postpones both deadlines.
    bool receive(int silence_ms) {
        std::uint32_t silent_since = uptime_ms();
        std::array<char, kReplyBytes> piece;
        for (;;) {
            SocketReader reader{socket_, kLookMs, kLookMs};
            const std::size_t n = reader.take(std::span{piece}.first(kReplyBytes - 1 - held_.size()));
            if (n > 0) {
                held_.append(piece.data(), n);
                taken_ += n;
                return uptime_ms() - begun_ < kReplyDeadlineMs;
            }
            if (reader.end() != SocketReader::End::late) return false;
            if (busy_ && busy_()) silent_since = begun_ = uptime_ms();
            if (uptime_ms() - silent_since >= static_cast<std::uint32_t>(silence_ms)) return false;
        }
    }

    const int socket_;
    const int silence_ms_;
    const FtpBusy& busy_;
    std::string held_;
    std::size_t line_ = 0;  // where the current line starts
    std::size_t taken_ = 0;
    std::uint32_t begun_ = uptime_ms();
};

}  // namespace

Text ftp_user_from_url(std::string_view url) {
    const auto login = login_of(url);
    if (!login) return std::string{kAnonymous};
    const std::string_view user = login->substr(0, login->find(':'));
    return user.empty() ? std::nullopt : Text{user};
}

std::string ftp_password_from_url(std::string_view url) {
    const std::string_view login = login_of(url).value_or("");
    const std::size_t colon = login.find(':');
    return std::string{colon == std::string_view::npos ? kAnonymousPassword : login.substr(colon + 1)};
}

Text ftp_path_from_url(std::string_view url) {
    const std::size_t scheme = url.find(kScheme);
    const std::size_t path = url.find('/', scheme == std::string_view::npos ? 0 : scheme + kScheme.size());
    return path == std::string_view::npos ? std::nullopt : Text{url.substr(path)};
}

bool ftp_is_sendable(std::string_view text) {
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) < 32 || c == 127; });
}

int ftp_command(int socket, std::optional<std::string_view> command, FtpReply* reply, int silence_ms,
                const FtpBusy& busy) {
    if (reply == nullptr) {
        log_message(LOG_ERROR, LOG_HTTP, "no FTP reply buffer given.\n");
        return 0;
    }
    if (command) {
        log_message(LOG_INFO, LOG_HTTP, "FTP command: %s\n", std::string{*command}.c_str());
        reply->rest.clear();  // it answered something else
        socket_send_all(socket, *command);
    }
    return ReplyReader{socket, std::exchange(reply->rest, {}), silence_ms, busy}.read(*reply);
}

std::optional<std::int64_t> ftp_reply_size(std::string_view reply) {
    if (!reply.starts_with("213")) return std::nullopt;
    const std::string_view number = str_trim_left(reply.substr(3));
    if (number.empty() || !char_is_digit(number.front())) return std::nullopt;
    return text_int64(number);
}

std::optional<std::array<std::uint8_t, 6>> ftp_reply_passive(std::string_view reply) {
    std::size_t at = reply.find(',');
    if (at == std::string_view::npos) return std::nullopt;
    while (at > 0 && char_is_digit(reply[at - 1])) --at;
    std::array<std::uint8_t, 6> numbers{};
    for (std::uint8_t& number : numbers) {
        if (&number != numbers.data() && (at >= reply.size() || reply[at++] != ',')) return std::nullopt;
        while (at < reply.size() && reply[at] == ' ') ++at;
        const std::size_t digits = std::min(reply.find_first_not_of("0123456789", at), reply.size()) - at;
        const std::int32_t value = digits >= 1 && digits <= 3 ? text_int(reply.substr(at, digits)) : -1;
        if (value < 0 || value > 255) return std::nullopt;
        number = static_cast<std::uint8_t>(value);
        at += digits;
    }
    return numbers;
}
