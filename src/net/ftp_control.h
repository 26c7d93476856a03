// The control connection of an FTP client (RFC 959): commands, replies, and what URLs and replies say.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "core/str.h"

// The login of an "ftp://" URL. Kept on purpose: any "@" counts, be it in the path. Without one the user is
// "anonymous". Returns nullopt if the URL has a user without a name.
Text ftp_user_from_url(std::string_view url);
// What follows the ":" of the user part; without it the address-like text that anonymous users give.
std::string ftp_password_from_url(std::string_view url);
// Everything from the first "/" after "ftp://" on, not decoded. Returns nullopt if there is none.
Text ftp_path_from_url(std::string_view url);

// False if the text would add commands of its own or end its command early.
bool ftp_is_sendable(std::string_view text);

struct FtpReply {
    std::string text;  // every line of the last reply, at most 1023 characters
    std::string rest;  // what arrived after it: the next reply, dropped if a command is sent first
};

// While it returns true the file is being transferred, and a silent server is waited for.
using FtpBusy = std::function<bool()>;

constexpr int kFtpSilenceMs = 10'000;
constexpr int kFtpLoginMs = 30'000;  // a reply to PASS: servers delay it on purpose

// Sends the command, if there is one, and reads on to a final reply line: three digits and a blank. Its number; 0 when
// none came within the limits (silence_ms without a byte, a minute and 64 KiB for the whole).
int ftp_command(int socket, std::optional<std::string_view> command, FtpReply* reply, int silence_ms = kFtpSilenceMs,
                const FtpBusy& busy = {});

// The size in bytes in a reply 213. Returns nullopt if it has none.
std::optional<std::int64_t> ftp_reply_size(std::string_view reply);

// The six numbers in a reply 227: the address, then the port's high and low byte. Returns nullopt unless there are six
// and each is a byte.
std::optional<std::array<std::uint8_t, 6>> ftp_reply_passive(std::string_view reply);
