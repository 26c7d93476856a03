// UTF-16 texts of tags and libraries as this system keeps them. By default a character that is not ASCII becomes "?",
// which is what old clients were always given; with PELORAMA_CHARSET=UTF-8 in the environment the text becomes UTF-8
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

// Little-endian UTF-16, as in ASF files and iPod databases. In ASCII every byte that is not 0 is kept, in order: ASCII
// and Latin-1 letters survive (as single bytes), other characters leave both their bytes. In UTF-8 this is utf16_text.
std::string utf16_narrow_text(Bytes units, TagCharset charset);
