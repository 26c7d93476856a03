// Times as the protocols write them.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

// "Sat, 21 Nov 2026 09:15:26 GMT" (RFC 9110, section 5.6.7), for the current time or a given one.
std::string http_date();
std::string http_date(std::time_t when);

// Hours, minutes, seconds and milliseconds: 3723004 is "1:02:03.004". Cut to 14 characters.
std::string format_duration(std::int64_t milliseconds);

// The same with minutes that do not carry into hours: 75 minutes are "0:75:00.000". Kept on purpose for the readers of
// some libraries.
std::string format_minutes(std::int64_t milliseconds);

// Returns the seconds of a duration text "H:M:S", "M:S" or "S" ("1:02:03.004" is 3723). Drops a fraction.
std::int32_t duration_seconds(std::string_view text);

// Returns the date in UTC as "2003-05-01".
std::string date_text(std::time_t when);
