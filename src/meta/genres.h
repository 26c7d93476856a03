// The genre numbers of ID3v1 tags: the 80 names of the first list and the extensions that players added to it.
#pragma once

#include <cstdint>

#include "core/str.h"

// The name of a genre number, 0 ("Blues") to 147 ("SynthPop"); nullopt for every other number.
Text id3_genre_name(std::int32_t number);

// The genre that the text of a genre frame means. "(17)", whatever follows it, is number 17 of the table, and "(RX)"
// reads as 0; every other text is the genre itself.
Text id3_resolved_genre(Text genre);
