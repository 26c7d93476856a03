// From object id to record. Ids are dense and never reused, so the table is an array in chunks. A chunk whose objects
// are all gone is freed: a server that runs for years keeps eight bytes for every thousand ids it ever gave out.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <vector>

#include "db/objects.h"

class IdTable {
public:
    MediaObject* find(ObjectId id) const {
        const auto index = static_cast<std::size_t>(id);
        const std::size_t chunk = index / kPerChunk;
        if (id < 0 || chunk >= chunks_.size() || !chunks_[chunk]) return nullptr;
        return chunks_[chunk]->objects[index % kPerChunk];
    }

    void put(MediaObject& object) {
        const auto index = static_cast<std::size_t>(object.id);
        const std::size_t chunk = index / kPerChunk;
        if (chunk >= chunks_.size()) chunks_.resize(chunk + 1);
        if (!chunks_[chunk]) chunks_[chunk] = std::make_unique<Chunk>();
        chunks_[chunk]->objects[index % kPerChunk] = &object;
        ++chunks_[chunk]->used;
        ++used_;
    }

    void remove(ObjectId id) {
        const auto index = static_cast<std::size_t>(id);
        std::unique_ptr<Chunk>& chunk = chunks_[index / kPerChunk];
        chunk->objects[index % kPerChunk] = nullptr;
        --used_;
        if (--chunk->used == 0) chunk.reset();
    }

    template <typename Visit>
    void for_each(Visit visit) const {
        for (const auto& chunk : chunks_)
            for (std::size_t i = 0; chunk && i < kPerChunk; ++i)
                if (chunk->objects[i] != nullptr) visit(*chunk->objects[i]);
    }

    void clear() {
        chunks_.clear();
        used_ = 0;
    }
    std::size_t size() const { return used_; }

private:
    static constexpr std::size_t kPerChunk = 1024;
    struct Chunk {
        std::array<MediaObject*, kPerChunk> objects{};
        std::size_t used = 0;
    };
    std::vector<std::unique_ptr<Chunk>> chunks_;
    std::size_t used_ = 0;
};
