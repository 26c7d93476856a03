// The log. A line has the local time to the millisecond, a level tag, a category tag and the message; lines of several
// threads never mix. An informational message is written only if the mask in the setting `v` has every bit of its
// category; problems and errors are always written. A critical message ends the process with status 255, without a
// shutdown.
//
// There are two channels for errors. log_message tells what happened to the server: a file, a client, a setting, a step
// of start or stop. print_error (core/thread.h) writes "WHAT: reason" of a failed system call to standard error,
// without a time stamp, where there is no more to say than the call and its reason: threads, interfaces, sockets, the
// process.
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

// Adds no line end: callers end their formats with "\n". The format is always a literal of ours.
[[gnu::format(printf, 3, 4)]] void log_message(std::uint32_t level, std::uint32_t category, const char* format, ...);

// Sends all levels to a file from now on. With a null path the log stays on the console, as the server does.
void log_open_file(const char* path);
void log_close();
