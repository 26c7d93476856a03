// Decoding of character entities, and the double escaping of DIDL-Lite: it travels as text inside a SOAP element, so
// its values are escaped twice. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/str.h"

// Decodes entities, each once ("&amp;lt;" becomes "&lt;"): the five of XML, "&nbsp;" as a blank, and short numeric
// references as one character below 256. Copies everything else. A reference to character 0 ends the text.
std::string xml_unescape(std::string_view text);

// Reads digits and letters as base-16 digits, up to the first other character, modulo 2^32. Letters after "f" count on
// (g is 16).
std::uint32_t hex_to_int(std::string_view text);

enum class HighBytes { copy, convert };
// Escapes a text twice for DIDL-Lite in a SOAP string: "<", ">" and "&", and control bytes as references. `convert`
// turns single high bytes (Latin-1) into UTF-8. Returns nullopt if the text is empty or the result would have more than
// 1021 bytes: with its terminator it has to stay below 1023.
Text xml_escape_double(std::string_view text, HighBytes high_bytes);

// Escapes a text of the store for a client. Well-formed UTF-8 is escaped as it is and anything else is converted from
// Latin-1, so that no text is converted twice. Clients that read single bytes get Latin-1, with "?" for a character
// that does not fit. Characters that XML 1.0 forbids are dropped, so that the unpacked fragment is well-formed. Returns
// nullopt as above.
enum class ClientText { utf8, single_bytes };
Text xml_escape_for(std::string_view text, ClientText client);
