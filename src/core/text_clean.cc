#include "core/text_clean.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "core/str.h"
#include "core/utf8.h"

namespace {

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
bool is_lower(char c) {
    return c >= 'a' && c <= 'z';
}
bool is_upper(char c) {
    return c >= 'A' && c <= 'Z';
}

}  // namespace

std::string text_clean(std::string_view text) {
    std::string kept;
    kept.reserve(text.size());
    std::copy_if(text.begin(), text.end(), std::back_inserter(kept),
                 [](char c) { return static_cast<unsigned char>(c) >= 32 && c != 127; });
    if (!utf8_is_well_formed(kept)) kept = latin1_to_utf8(kept);
    return std::string{str_trim(kept)};
}

std::string text_without_forbidden_controls(std::string_view text) {
    std::string kept{text};
    std::erase_if(kept,
                  [](char c) { return static_cast<unsigned char>(c) < 32 && c != '\t' && c != '\n' && c != '\r'; });
    return kept;
}

std::string adapt_case(std::string_view title) {
    std::string out{title};
    const bool two_words = str_trim(title).find(' ') != std::string_view::npos;
    if (!two_words || std::any_of(title.begin(), title.end(), is_lower)) return out;
    bool in_word = false;
    for (char& c : out) {
        if (in_word) c = char_lower(c);
        // Digits and apostrophes belong to a word ("2ND" becomes "2nd", "DON'T" becomes "Don't"), and so do the bytes
        // of other alphabets.
        in_word = is_upper(c) || is_lower(c) || is_digit(c) || c == '\'' || static_cast<unsigned char>(c) >= 0x80;
    }
    return out;
}

std::string title_from_path(std::string_view path) {
    std::string_view name = path.substr(path.rfind('/') + 1);  // npos + 1 is 0: no "/" keeps the whole
    const std::size_t dot = name.rfind('.');
    if (dot != std::string_view::npos && dot != 0) name = name.substr(0, dot);
    return text_clean(name);
}
