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
    using Strings = std::vector<std::string>;
    using Titles = std::vector<std::string_view>;  // of containers from the root on: {"Music", "Artists", "A"}

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

    // Adds what is new and gives its id.
    static ObjectId add(NewItem item) {
        const std::string path = item.path.value_or("");
        const ObjectClass type = item.media_class;
        EXPECT_EQ(db_add_item(std::move(item)), AddResult::added) << path;
        return id_of(path, type);
    }
    static ObjectId id_of(std::string_view path, ObjectClass type = ObjectClass::music_track) {
        StoreLock lock;
        const MediaItem* const item = db_find_in_type(lock, path, type);
        return item != nullptr ? item->id : kNoObject;
    }

    // Null when there is none.
    static MediaContainer* find(const StoreLock& lock, const Titles& titles) {
        MediaContainer* at = store(lock).root;
        for (const std::string_view title : titles)
            if (at != nullptr) at = tree_find_child_container(lock, title, *at);
        return at;
    }
    static ObjectId id_of_container(const Titles& titles) {
        StoreLock lock;
        return find(lock, titles)->id;
    }

    // The title of an item, reference or container.
    static std::string title_of(const StoreLock& lock, ObjectId id) {
        const MediaItem* const item = item_of(lock, tree_object(lock, id));
        return std::string{item != nullptr ? item->title.view() : as_container(tree_object(lock, id))->title.view()};
    }
    static Strings titles_of(const StoreLock& lock, const std::vector<ObjectId>& ids) {
        Strings out;
        for (const ObjectId id : ids) out.push_back(title_of(lock, id));
        return out;
    }
    // Titles of the children in list order: of containers as they are, of items and references in parentheses.
    static Strings children(const Titles& titles) {
        StoreLock lock;
        const MediaContainer* const container = find(lock, titles);
        if (container == nullptr) return {"<no such container>"};
        Strings out;
        for (MediaObject& child : tree_children(lock, *container)) {
            const std::string title = title_of(lock, child.id);
            out.push_back(as_container(&child) != nullptr ? title : "(" + title + ")");
        }
        return out;
    }
};
