// The genre numbers of ID3v1 tags: the 80 names of the first list and the extensions that players added to it.
#pragma once

#include <cstdint>

#include "core/str.h"

// The name of a genre number, 0 ("Blues") to 147 ("SynthPop"); missing for every other number.
Text id3_genre_name(std::int32_t number);

// The text of a genre frame: "(17)" and what may stand behind it names a number of the table, "(RX)" reads as 0; every
// other text is the genre.
Text id3_resolved_genre(Text genre);
