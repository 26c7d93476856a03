// All diagnostic output goes through log_message: local time to the millisecond, level tag, category tag, message, in
// one uninterrupted write. Informational messages pass only when the mask in the setting `v` holds every bit of their
// category; problems and errors are always written. A critical message ends the process with status 255, without a
// shutdown.
#pragma once

#include <cstdint>

// Do not include <syslog.h> beside this: its macros have some of the same names.
enum LogLevel : std::uint32_t { LOG_INFO = 0, LOG_PROBLEM = 1, LOG_ERROR = 2, LOG_CRITICAL = 3 };

enum LogCategory : std::uint32_t {
    LOG_SYSTEM = 1,
    LOG_SSDP = 2,
    LOG_DB = 4,
    LOG_HTTP = 8,
    LOG_CLIENTDB = 16,
    LOG_EVENTING = 32,
    LOG_EXIF = 64,
    LOG_HTTPPROXY = 128,
    LOG_XMLPARSER = 256,
};

// No line end is added: callers end their formats with "\n" themselves. The format is always a literal of ours.
[[gnu::format(printf, 3, 4)]] void log_message(std::uint32_t level, std::uint32_t category, const char* format, ...);

// Sends all levels to a file from now on; without a path the console stays in use. The server opens none.
void log_open_file(const char* path);
void log_close();
