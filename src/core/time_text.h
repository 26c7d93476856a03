// Times as the protocols write them.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

// "Sat, 21 Nov 2026 09:15:26 GMT" (RFC 9110, section 5.6.7), of the current time or of a given one.
std::string http_date();
std::string http_date(std::time_t when);

// Hours, minutes, seconds and milliseconds: 3723004 is "1:02:03.004". Cut to 14 characters.
std::string format_duration(std::int64_t milliseconds);

// The same without an hour part: 75 minutes are "0:75:00.000". Some libraries' readers have always written it so.
std::string format_minutes(std::int64_t milliseconds);

// Seconds of a duration text: hours, minutes, seconds ("1:02:03.004" is 3723); with fewer fields minutes and seconds,
// or seconds. A fraction is dropped.
std::int32_t duration_seconds(std::string_view text);

// "2003-05-01" of a time, in UTC.
std::string date_text(std::time_t when);
