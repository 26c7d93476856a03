// The genre numbers of ID3v1 tags: the 80 names of the first list and the extensions that players added to it.
#pragma once

#include <cstdint>

#include "core/str.h"

// The name of a genre number, 0 ("Blues") to 147 ("SynthPop"); missing for every other number.
Text id3_genre_name(std::int32_t number);
