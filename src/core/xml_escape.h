// Character entities in, double escaping out: DIDL-Lite travels as text inside a SOAP element, so its values are
// escaped twice. Pure functions over their arguments.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/str.h"

// Entities decoded, each once ("&amp;lt;" becomes "&lt;"): the five of XML, "&nbsp;" as a blank, and short numeric
// references as one byte. Other bytes stay, high ones too. A reference to character 0 ends the text.
std::string xml_unescape(std::string_view text);

// Digits and letters as base-16 digits up to the first other character; letters past "f" count on (g is 16). Modulo
// 2^32.
std::uint32_t hex_to_int(std::string_view text);

enum class HighBytes { copy, convert };
// Double escaping of a text for DIDL inside a SOAP string: "<", ">" and "&", and control bytes as references. convert
// turns single high bytes (Latin-1) into UTF-8. Missing for an empty text, and when the result would have more than
// 1021 bytes: with its terminator it has to stay below 1023.
Text xml_escape_double(std::string_view text, HighBytes high_bytes);

// What a client gets of a store text: the high-byte conversion of a Latin-1 text, and never a text converted twice.
// Well-formed UTF-8 is escaped as it is, anything else converted; single_bytes clients get Latin-1, "?" for what does
// not fit. Characters that XML 1.0 has no form for are dropped, so that the fragment stays well-formed when it is
// unpacked. Missing as above.
enum class ClientText { utf8, single_bytes };
Text xml_escape_for(std::string_view text, ClientText client);
