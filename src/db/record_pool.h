// Memory for millions of small records of one type: blocks of a fixed number, a free list through the unused ones.
// Records keep their address for life. Not locked: the owner is.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

template <typename Record>
class RecordPool {
public:
    RecordPool() = default;
    RecordPool(const RecordPool&) = delete;
    RecordPool& operator=(const RecordPool&) = delete;

    template <typename... Arguments>
    Record& create(Arguments&&... arguments) {
        if (free_ == nullptr) add_block();
        Slot* const slot = std::exchange(free_, free_->next);
        return *new (slot->memory) Record(std::forward<Arguments>(arguments)...);
    }

    void destroy(Record& record) {
        record.~Record();
        free_ = new (static_cast<void*>(&record)) Slot{.next = free_};
    }

    // Gives every block back; the records were destroyed before.
    void release_blocks() {
        blocks_.clear();
        free_ = nullptr;
    }

private:
    union Slot {
        Slot* next;
        alignas(Record) std::byte memory[sizeof(Record)];
    };
    static constexpr std::size_t kPerBlock = 1024;

    void add_block() {
        blocks_.push_back(std::make_unique_for_overwrite<Slot[]>(kPerBlock));
        Slot* const slots = blocks_.back().get();
        for (std::size_t i = kPerBlock; i-- > 0;) free_ = new (&slots[i]) Slot{.next = free_};
    }

    std::vector<std::unique_ptr<Slot[]>> blocks_;
    Slot* free_ = nullptr;
};
