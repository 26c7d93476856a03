// The growing text in which SOAP answers, DIDL-Lite fragments and event bodies are built. An append that does not fit
// doubles the capacity, or allocates exactly what is needed if that is more.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

class TextBuffer {
public:
    TextBuffer() : TextBuffer({}, 256) {}
    TextBuffer(std::string_view initial, std::size_t capacity) {
        text_.reserve(capacity);
        append(initial);
    }

    TextBuffer& append(std::string_view text) {
        text_.append(text);
        return *this;
    }
    std::size_t length() const { return text_.length(); }
    std::string_view text() const { return text_; }
    const char* c_str() const { return text_.c_str(); }
    std::string take() && { return std::move(text_); }

private:
    std::string text_;  // the library's string grows by the rule above
};
