// A store with the default settings, checked against its indexes after every test. Items are made of remote paths,
// which need no file on disk, unless a test is about files.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "core/settings.h"
#include "db/add_item.h"
#include "db/store.h"
#include "db/tree_check.h"

class StoreFixture : public testing::Test {
protected:
    void SetUp() override {
        settings_set_defaults();
        configure();
        db_create();
    }
    void TearDown() override {
        {
            StoreLock lock;
            EXPECT_EQ(tree_check(lock), "");
        }
        db_destroy();
        settings_free_all();
    }
    // Settings that differ from the defaults.
    virtual void configure() {}

    // A container by its titles from the root on ({"Music", "Artists", "A"}); null when there is none.
    static MediaContainer* find(const StoreLock& lock, const std::vector<std::string_view>& titles) {
        MediaContainer* at = store(lock).root;
        for (const std::string_view title : titles) {
            if (at == nullptr) return nullptr;
            at = tree_find_child_container(lock, title, *at);
        }
        return at;
    }

    // Titles of the children in list order: of containers as they are, of items and references in parentheses.
    static std::vector<std::string> children(const std::vector<std::string_view>& titles) {
        StoreLock lock;
        std::vector<std::string> out;
        MediaContainer* const container = find(lock, titles);
        if (container == nullptr) return {"<no such container>"};
        for (MediaObject& child : tree_children(lock, *container)) {
            const MediaItem* const item = item_of(lock, &child);
            out.emplace_back(item != nullptr ? item->title.view() : as_container(&child)->title.view());
            if (item != nullptr) out.back().insert(0, 1, '(').push_back(')');
        }
        return out;
    }

    // The titles of items, references and containers, by their ids.
    static std::vector<std::string> titles_of(const StoreLock& lock, const std::vector<ObjectId>& ids) {
        std::vector<std::string> out;
        for (const ObjectId id : ids) {
            const MediaItem* const item = item_of(lock, tree_object(lock, id));
            out.emplace_back(item != nullptr ? item->title.view() : as_container(tree_object(lock, id))->title.view());
        }
        return out;
    }

    static ObjectId id_of_container(const std::vector<std::string_view>& titles) {
        StoreLock lock;
        return find(lock, titles)->id;
    }
    static ObjectId id_of(std::string_view path, ObjectClass type = ObjectClass::music_track) {
        StoreLock lock;
        const MediaItem* const item = db_find_in_type(lock, path, type);
        return item != nullptr ? item->id : kNoObject;
    }
};
