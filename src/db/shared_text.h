// The texts of the store's records: immutable, counted, eight bytes in the record, one block on the heap. Texts that
// repeat (artist, album, genre, date, container titles) come from the store's pool, so 100,000 tracks hold each of them
// once.
//
// A SharedText is copied, assigned and dropped only while the store is locked; the count is no atomic.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_set>
#include <utility>

class SharedText {
public:
    SharedText() = default;  // missing
    explicit SharedText(std::string_view text);
    SharedText(const SharedText& other) : block_(other.block_) { hold(); }
    SharedText(SharedText&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
    SharedText& operator=(SharedText other) noexcept {
        std::swap(block_, other.block_);
        return *this;
    }
    ~SharedText() { drop(); }

    // Present, be it empty.
    explicit operator bool() const { return block_ != nullptr; }
    bool has_text() const { return block_ != nullptr && block_->length > 0; }
    // Empty when missing; NUL-terminated when present.
    std::string_view view() const;
    // Equal and from the same pool: one compare.
    bool same_as(const SharedText& other) const { return block_ == other.block_; }
    const void* identity() const { return block_; }
    std::uint32_t users() const { return block_ == nullptr ? 0 : block_->users; }

private:
    struct Block {
        std::uint32_t users;
        std::uint32_t length;
    };
    void hold() {
        if (block_ != nullptr) ++block_->users;
    }
    void drop();

    Block* block_ = nullptr;
};

// Each distinct text once. Texts that nobody uses any more leave with collect().
class TextPool {
public:
    SharedText intern(std::string_view text);
    // The pooled text; a missing one if the pool does not hold it.
    SharedText find(std::string_view text) const;
    // Drops what only the pool still holds; costs a walk over the pool.
    void collect();
    void clear() { texts_.clear(); }
    std::size_t size() const { return texts_.size(); }

private:
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(const SharedText& text) const { return std::hash<std::string_view>{}(text.view()); }
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    struct Equal {
        using is_transparent = void;
        static std::string_view view(const SharedText& text) { return text.view(); }
        static std::string_view view(std::string_view text) { return text; }
        template <typename A, typename B>
        bool operator()(const A& a, const B& b) const {
            return view(a) == view(b);
        }
    };
    std::unordered_set<SharedText, Hash, Equal> texts_;
};
