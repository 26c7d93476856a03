// What a fuzz target is made of: the function that each fuzz_*.cc defines, and what it needs to judge the outcome.
#pragma once

#include <cstdlib>
#include <initializer_list>
#include <string_view>

#include "core/bytes.h"
#include "core/str.h"

// One input, of any bytes.
void fuzz(Bytes input);

// What must hold whatever the input is.
inline void require(bool condition) {
    if (!condition) std::abort();
}

// Texts of tags that are listed as they are.
inline void require_no_nul(std::initializer_list<const Text*> texts) {
    for (const Text* text : texts) require(!*text || (*text)->find('\0') == std::string::npos);
}
