#include "db/shared_text.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <string_view>
#include <vector>

// A block is its counts, then the text, then a NUL.
SharedText::SharedText(std::string_view text) {
    void* const memory = ::operator new(sizeof(Block) + text.size() + 1);
    block_ = new (memory) Block{.users = 1, .length = static_cast<std::uint32_t>(text.size())};
    char* const characters = static_cast<char*>(memory) + sizeof(Block);
    std::copy(text.begin(), text.end(), characters);
    characters[text.size()] = '\0';
}

std::string_view SharedText::view() const {
    if (block_ == nullptr) return {};
    const void* const memory = block_;
    return {static_cast<const char*>(memory) + sizeof(Block), block_->length};
}

void SharedText::drop() {
    if (block_ != nullptr && --block_->users == 0) ::operator delete(block_);
    block_ = nullptr;
}

SharedText TextPool::intern(std::string_view text) {
    const auto found = texts_.find(text);
    return found != texts_.end() ? *found : *texts_.emplace(text).first;
}

SharedText TextPool::find(std::string_view text) const {
    const auto found = texts_.find(text);
    return found != texts_.end() ? *found : SharedText{};
}

void TextPool::collect() {
    std::erase_if(texts_, [](const SharedText& text) { return text.users() == 1; });
}
