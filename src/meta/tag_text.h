// UTF-16 texts of tags and libraries as this system keeps them. By default a character that is not ASCII becomes "?",
// which is what old receivers were always given; with PELORAMA_CHARSET=UTF-8 in the environment the text becomes UTF-8
// in full.
#pragma once

#include <string>

#include "core/bytes.h"

enum class TagCharset { ascii, utf8 };
// What the environment asks for; looked at once.
TagCharset tag_charset();

enum class ByteOrder { big, little };
// The code units up to a zero unit or the end; half a unit at the end is dropped. Each unit that the charset cannot
// hold becomes "?": in ASCII each half of a surrogate pair, in UTF-8 only a surrogate without its other half.
std::string utf16_text(Bytes units, ByteOrder order, TagCharset charset);
