// Percent-encoding (RFC 3986, section 2.1).
#pragma once

#include <string>
#include <string_view>

// "%2F" becomes "/". A "%" without two hexadecimal digits behind it stays as it is; "+" is a plus sign. So does "%00":
// the result is used as a path, and no path holds a NUL.
std::string url_decode(std::string_view text);

// The value of a hexadecimal digit; -1 when it is none.
int hex_digit(char c);
