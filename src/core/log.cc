#include "core/log.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <utility>

#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"

namespace {

constexpr int kCriticalStatus = 255;  // -1 as a process status

struct LogState {
    std::mutex mutex;
    std::FILE* file = nullptr;
};
LogState& state() {
    return process_wide<LogState>();
}

const char* category_tag(std::uint32_t category) {
    switch (category) {
        case LOG_SYSTEM:
            return "SYSTEM:";
        case LOG_SSDP:
            return "SSDP:";
        case LOG_DB:
            return "DB:";
        case LOG_HTTP:
            return "HTTP:";
        case LOG_CLIENTDB:
            return "CLIENT-DB:";
        case LOG_EVENTING:
            return "EVENTING:";
        case LOG_EXIF:
            return "EXIF:";
        case LOG_HTTPPROXY:
            return "HTTP-PROXY:";
        case LOG_XMLPARSER:
            return "XML PARSER:";
        default:
            return "";
    }
}

bool is_filtered(std::uint32_t level, std::uint32_t category) {
    return level == LOG_INFO &&
           (static_cast<std::uint32_t>(settings_get_int(Setting::log_categories)) & category) != category;
}

void write_time_stamp(std::FILE* stream) {
    timeval now{};
    gettimeofday(&now, nullptr);
    std::tm local{};
    localtime_r(&now.tv_sec, &local);
    char clock[20];
    std::strftime(clock, sizeof clock, "%H:%M:%S", &local);
    std::fprintf(stream, "%s:%03ld ", clock, static_cast<long>(now.tv_usec / 1000));
}

// Kept on purpose: the message goes to standard output, the time stamp before it to the log's stream.
[[noreturn, gnu::format(printf, 1, 0)]] void end_process(const char* format, va_list arguments) {
    char message[1024];
    std::vsnprintf(message, sizeof message, format, arguments);
    std::printf("!!! CRITICAL ERROR!!!\n");
    std::printf("%s\n", message);
    std::fflush(nullptr);
    _exit(kCriticalStatus);
}

}  // namespace

void log_message(std::uint32_t level, std::uint32_t category, const char* format, ...) {
    if (is_filtered(level, category)) return;
    std::scoped_lock lock{state().mutex};
    std::FILE* const console = level == LOG_ERROR || level == LOG_CRITICAL ? stderr : stdout;
    std::FILE* const stream = state().file != nullptr ? state().file : console;
    write_time_stamp(stream);

    va_list arguments;
    va_start(arguments, format);
    if (level == LOG_CRITICAL) end_process(format, arguments);
    if (level == LOG_PROBLEM) std::fputs("[Problem]", stream);
    if (level == LOG_ERROR) std::fputs("[ERROR]", stream);
    std::fputs(category_tag(category), stream);
    std::vfprintf(stream, format, arguments);
    va_end(arguments);
    std::fflush(stream);
}

void log_open_file(const char* path) {
    if (path == nullptr) return;
    std::scoped_lock lock{state().mutex};
    if (state().file != nullptr) std::fclose(state().file);
    state().file = std::fopen(path, "wb");
}

void log_close() {
    std::scoped_lock lock{state().mutex};
    if (std::FILE* file = std::exchange(state().file, nullptr)) std::fclose(file);
}
