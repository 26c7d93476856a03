// Percent-encoding (RFC 3986, section 2.1).
#pragma once

#include <string>
#include <string_view>

// "%2F" becomes "/". A "%" that two hexadecimal digits do not follow stays as it is, and so does "+". "%00" stays too,
// because the result is used as a path and no path contains a NUL.
std::string url_decode(std::string_view text);

// Returns the value of a hexadecimal digit; -1 for any other character.
int hex_digit(char c);
