#include "db/sort.h"

#include <gmock/gmock.h>

#include <random>

#include "support/rows.h"
#include "support/store_fixture.h"

namespace {

struct Child {
    NewItem item;                // a title that begins with a bracket makes it a container
    std::int32_t position = -1;  // of its reference; -1 as in a view
};

class Sort : public StoreFixture {
protected:
    // A list below the music folder with references to new items, and containers between them; its children are the
    // rows from the last to the first.
    static std::vector<ObjectId> make_list(const std::vector<Child>& rows) {
        std::vector<ObjectId> items;
        for (const Child& row : rows) {
            NewItem item = row.item;
            item.path = "http://h/" + std::to_string(items.size()) + row.item.title.value_or("");
            items.push_back(is_container(row) ? kNoObject : add(item));
        }
        StoreLock lock;
        MediaContainer& list = tree_add_container(lock, *store(lock).music, {.title = tree_intern(lock, "list")});
        for (std::size_t i = 0; i < rows.size(); ++i) {
            if (is_container(rows[i]))
                tree_add_container(lock, list, {.title = tree_intern(lock, *rows[i].item.title)});
            MediaObject* const item = tree_object(lock, items[i]);
            if (item != nullptr) tree_add_reference(lock, list, static_cast<MediaItem&>(*item), rows[i].position);
        }
        std::vector<ObjectId> ids;
        for (const MediaObject& child : tree_children(lock, list)) ids.push_back(child.id);
        return ids;
    }

private:
    static bool is_container(const Child& row) { return row.item.title->starts_with('['); }
};

TEST_F(Sort, PlacesAFewAsClientsExpect) {
    const Child b{{.title = "b", .artist = "Z", .album = "b", .genre = "b", .date = "b", .track = 9}, 1};
    const Child upper{{.title = "A", .genre = "A", .date = "A", .track = 2}, 10};
    const Child lower{{.title = "c", .artist = "a", .album = "a", .genre = "a", .date = "a", .track = 5}, 0};
    const std::vector<Child> list = {b, {{.title = "[x]"}}, upper, lower, {{.title = "[Y]"}}};
    for (const auto& [criteria, titles] : Rows<const char*, const char*>{
             // An unknown key counts as read: containers first, and titles in its direction.
             {"-dc:nothing", "[Y] [x] c b A"},
             {"", "[x] [Y] A b c"},
             {"+upnp:artist", "[x] [Y] A c b"},
             {"-dc:creator", "[Y] [x] b c A"},
             {"upnp:album", "[x] [Y] A c b"},
             {"+upnp:originalTrackNumber", "[x] [Y] b c A"},  // members of a playlist by their positions
             // Dates by their bytes, the others without their case.
             {"dc:date", "[x] [Y] A c b"},
             {"upnp:genre,-dc:date", "[Y] [x] c A b"},
         }) {
        db_destroy();
        db_create();
        std::vector<ObjectId> ids = make_list(list);
        StoreLock lock;
        sort_objects(lock, sort_compile(criteria), ids);
        std::string sorted;
        for (const ObjectId id : ids) sorted += (sorted.empty() ? "" : " ") + title_of(lock, id);
        EXPECT_EQ(sorted, titles) << criteria;
    }
}

TEST_F(Sort, PlacesEveryPairAsTheComparisonAccepts) {
    // The written-out orders above are of few objects; many go through the sorting by pieces of text.
    // Texts that differ in case, behind fifteen bytes, behind thirty, and by being the head of another.
    const Strings texts{"a",
                        "A",
                        "exactly fifteen",
                        "Exactly fifteen",
                        "exactly fifteen and more to",
                        "Exactly fifteen and more To",
                        "exactly fifteen and more to say",
                        "exactly fifteen and more to saz",
                        "\xC3\x84",
                        "z"};
    std::mt19937 random{7};
    const auto pick = [&] { return texts[random() % texts.size()]; };
    const auto maybe = [&] { return random() % 3 == 0 ? Text{} : Text{pick()}; };
    std::vector<Child> rows;
    for (int i = 0; i < 200; ++i)
        rows.push_back({{.title = (random() % 6 == 0 ? "[" : "") + pick(),
                         .artist = maybe(),
                         .album = maybe(),
                         .genre = maybe(),
                         .date = maybe(),
                         .track = static_cast<std::int32_t>(random() % 4)},
                        static_cast<std::int32_t>(random() % 5) - 1});
    const std::vector<ObjectId> children = make_list(rows);
    StoreLock lock;
    for (const char* criteria : {"+dc:title", "-dc:title", "", "-upnp:originalTrackNumber,+upnp:album",
                                 "+dc:date,-upnp:artist", "-upnp:genre,+dc:creator,-res", "upnp:artist,,-"}) {
        std::vector<ObjectId> ids = children;
        const SortCriteria compiled = sort_compile(criteria);
        sort_objects(lock, compiled, ids);
        ASSERT_THAT(ids, testing::UnorderedElementsAreArray(children)) << criteria;
        for (std::size_t i = 0; i < ids.size(); ++i) {
            for (std::size_t j = i + 1; j < ids.size(); ++j) {
                const MediaObject &a = *tree_object(lock, ids[i]), &b = *tree_object(lock, ids[j]);
                const int order = sort_compare(lock, compiled, a, b);
                ASSERT_LE(order, 0) << criteria << ": " << ids[i] << " before " << ids[j];
                // The children came with descending ids.
                ASSERT_TRUE(order != 0 || ids[i] > ids[j]) << criteria << ": a tie lost its order";
            }
        }
    }
}

}  // namespace
