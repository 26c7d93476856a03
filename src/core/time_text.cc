#include "core/time_text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

#include "core/str.h"

std::string http_date() {
    return http_date(std::time(nullptr));
}

std::string http_date(std::time_t when) {
    // Day and month names of the protocol, not of a locale.
    static constexpr std::array kDays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr std::array kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm utc{};
    gmtime_r(&when, &utc);
    return text_format(64, "%s, %02d %s %d %02d:%02d:%02d GMT", kDays[static_cast<std::size_t>(utc.tm_wday)],
                       utc.tm_mday, kMonths[static_cast<std::size_t>(utc.tm_mon)], utc.tm_year + 1900, utc.tm_hour,
                       utc.tm_min, utc.tm_sec);
}

std::string format_duration(std::int64_t milliseconds) {
    const long hours = static_cast<long>(milliseconds / 3'600'000);
    const long minutes = static_cast<long>(milliseconds % 3'600'000 / 60'000);
    const long seconds = static_cast<long>(milliseconds % 60'000 / 1000);
    return text_format(15, "%ld:%02ld:%02ld.%03ld", hours, minutes, seconds, static_cast<long>(milliseconds % 1000));
}

std::string format_minutes(std::int64_t milliseconds) {
    return text_format(14, "0:%02ld:%02ld.%03ld", static_cast<long>(milliseconds / 60'000),
                       static_cast<long>(milliseconds % 60'000 / 1000), static_cast<long>(milliseconds % 1000));
}

std::int32_t duration_seconds(std::string_view text) {
    std::uint32_t total = 0;
    for (;;) {
        total = total * 60u + static_cast<std::uint32_t>(text_int(text));
        const std::size_t colon = text.find(':');
        if (colon == std::string_view::npos) return static_cast<std::int32_t>(total);
        text.remove_prefix(colon + 1);
    }
}

std::string date_text(std::time_t when) {
    std::tm utc{};
    gmtime_r(&when, &utc);
    return text_format(16, "%04ld-%02d-%02d", utc.tm_year + 1900L, utc.tm_mon + 1, utc.tm_mday);
}
