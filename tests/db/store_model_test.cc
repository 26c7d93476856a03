// The store against a model made of plain lists that are walked from the root: random adds, touches, playlists,
// removals, plays and prunes must leave the same ids in the same order in both.

#include <algorithm>
#include <list>
#include <memory>
#include <random>

#include "db/upkeep.h"
#include "support/store_fixture.h"

namespace {

struct Node {
    char kind;  // as in ObjectKind
    int id;
    std::string title;  // containers and items
    int target = 0;     // references
    bool permanent = false;
    std::string path = {}, artist = {}, album = {};
    int modified = 0, plays = 0;
    Node* parent = nullptr;
    std::list<std::unique_ptr<Node>> children = {};  // newest first
};

struct Track {
    std::string path, artist, album;
    int modified;
};

class Model {
public:
    Model() {
        root.permanent = true;
        music = container(root, "Music", true);
        lists = container(*music, "Playlists", true);
        most_played = container(*lists, "- Most Played -", true);
        all = container(*music, "All Tracks", true);
        Node* radio = container(*music, "Internet Radio", true);
        container(*radio, "- Favorites- ", true);
        albums = container(*music, "Artists/Albums", true);
        alpha = container(*music, "Alpha", true);
        Node* pictures = container(root, "Pictures", true);
        container(*pictures, "All Pictures", true);
        Node* videos = container(root, "Videos", true);
        container(*videos, "All Videos", true);
    }

    void add(const Track& track, const std::string& playlist) {
        Node* item = find_item(root, track.path);
        if (item != nullptr && !playlist.empty()) return join(*item, playlist);
        if (item != nullptr && item->modified >= track.modified) return;
        const auto former = item != nullptr ? lists_of(*item) : std::vector<Node*>{};
        if (item != nullptr) remove(track.path);
        item = prepend(*all, 'i', track.path);
        item->path = track.path;
        item->artist = track.artist;
        item->album = track.album;
        item->modified = track.modified;
        place_alpha(*item);  // views are filled in child-list order: the newest first
        place_albums(*item);
        for (Node* const list : former) reference(*list, *item);
        if (!playlist.empty()) join(*item, playlist);
    }

    void remove(const std::string& path) {
        Node* const item = find_item(root, path);
        if (item == nullptr) return;
        remove_references(root, item->id);
        all->children.remove_if([&](const auto& child) { return child.get() == item; });
    }

    // playlistnumentries is 3.
    void play(const std::string& path) {
        Node* const item = find_item(root, path);
        if (item == nullptr) return;
        ++item->plays;
        Node* smallest = nullptr;
        for (auto& entry : most_played->children) {
            if (entry->target == item->id) {
                entry->plays = item->plays;
                return;
            }
            if (smallest == nullptr || entry->plays < smallest->plays) smallest = entry.get();
        }
        if (most_played->children.size() < 3) {
            reference(*most_played, *item)->plays = item->plays;
        } else if (smallest->plays < item->plays) {
            smallest->plays = item->plays;
            smallest->target = item->id;
        }
    }

    void prune() { prune(root); }

    std::string text() const { return text(root, 0); }

private:
    Node* prepend(Node& parent, char kind, const std::string& title) {
        auto node = std::make_unique<Node>();
        node->kind = kind;
        node->id = next_id++;
        node->title = title;
        node->parent = &parent;
        parent.children.push_front(std::move(node));
        return parent.children.front().get();
    }
    Node* container(Node& parent, const std::string& title, bool permanent) {
        Node* const made = prepend(parent, 'c', title);
        made->permanent = permanent;
        return made;
    }
    Node* find_or_add(Node& parent, const std::string& title) {
        for (auto& child : parent.children)
            if (child->kind == 'c' && child->title == title) return child.get();
        return container(parent, title, false);
    }
    Node* reference(Node& parent, const Node& item) {
        Node* const made = prepend(parent, 'r', "");
        made->target = item.id;
        return made;
    }
    static Node* find_item(Node& start, const std::string& path) {
        for (auto& child : start.children) {
            if (child->kind == 'i' && child->path == path) return child.get();
            if (Node* const below = find_item(*child, path)) return below;
        }
        return nullptr;
    }
    void join(const Node& item, const std::string& playlist) {
        Node* const list = find_or_add(*lists, playlist);
        const auto same = [&](const auto& entry) { return entry->target == item.id; };
        if (std::none_of(list->children.begin(), list->children.end(), same)) reference(*list, item);
    }
    // The playlists that the item joined, in the order in which it did.
    std::vector<Node*> lists_of(const Node& item) const {
        std::vector<const Node*> places;
        for (const auto& list : lists->children)
            for (const auto& entry : list->children)
                if (!list->permanent && entry->target == item.id) places.push_back(entry.get());
        std::ranges::sort(places, {}, &Node::id);
        std::vector<Node*> found;
        for (const Node* const place : places) found.push_back(place->parent);
        return found;
    }
    void place_albums(const Node& item) {
        const auto albums_below = [&](Node& artist) {
            reference(*find_or_add(artist, item.album), item);
            reference(*find_or_add(artist, "- All -"), item);
        };
        albums_below(*find_or_add(*albums, item.artist));
        albums_below(*find_or_add(*albums, "- All -"));
    }
    void place_alpha(const Node& item) {
        const int group = std::clamp((item.artist[0] - 'A') / 5, 0, 5);
        const std::string titles[] = {"ABCDE", "FGHIJ", "KLMNO", "PQRST", "UVWXY", "Z"};
        reference(*find_or_add(*find_or_add(*alpha, titles[group]), item.artist), item);
    }
    static void remove_references(Node& start, int target) {
        start.children.remove_if([&](const auto& child) { return child->kind == 'r' && child->target == target; });
        for (auto& child : start.children) remove_references(*child, target);
    }
    void prune(Node& node) {
        for (auto& child : node.children) prune(*child);
        node.children.remove_if([&](const auto& child) {
            return child->kind == 'c' && child->children.empty() && !child->permanent && &node != &root;
        });
    }
    static std::string text(const Node& node, int depth) {
        std::string out(static_cast<std::size_t>(depth), ' ');
        out += node.kind + std::to_string(node.id) + " " +
               (node.kind == 'r' ? std::to_string(node.target) : node.title) + "\n";
        for (const auto& child : node.children) out += text(*child, depth + 1);
        return out;
    }

    int next_id = first_id;
    Node root{.kind = 'c', .id = 0, .title = "root"};
    Node *music, *lists, *most_played, *all, *albums, *alpha;

public:
    static inline int first_id = 1;
};

std::string store_text(const StoreLock& lock, const MediaObject& object, int depth) {
    std::string out(static_cast<std::size_t>(depth), ' ');
    out += static_cast<char>(object.kind) + std::to_string(object.id) + " ";
    if (const ItemReference* const reference = as_reference(&object)) {
        out += std::to_string(reference->target) + "\n";
    } else if (const MediaContainer* const container = as_container(&object)) {
        out += std::string{container->title.view()} + "\n";
        for (const MediaObject& child : tree_children(lock, *container)) out += store_text(lock, child, depth + 1);
    } else {
        out += std::string{item_of(lock, &object)->path.view()} + "\n";
    }
    return out;
}

class StoreModel : public StoreFixture {
    void configure() override {
        settings_set(Setting::playlistnumentries, "3");
        settings_set(Setting::playlistlastplayed, "");  // its order depends on the clock
        for (int n = 1; n <= 10; ++n) settings_set(setting_of(Setting::musicnode1, n), "");
        settings_set(Setting::musicnode2, "Artists/Albums,%ARTIST,%ALBUM");
        settings_set(Setting::musicnode5, "Alpha,[5]%ARTIST");
        for (int n = 1; n <= 5; ++n) settings_set(setting_of(Setting::picturenode1, n), "");
        for (int n = 1; n <= 5; ++n) settings_set(setting_of(Setting::videonode1, n), "");
    }
};

TEST_F(StoreModel, AgreesAfterEveryRandomStep) {
    {
        StoreLock lock;
        Model::first_id = store(lock).music->id;
    }
    Model model;
    std::mt19937 random{20261121};
    const auto pick = [&](int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); };
    const std::string artists[] = {"Alba", "Bo", "Fen", "Zed"}, albums[] = {"One", "Two", "Three"},
                      lists[] = {"P", "Q"};
    for (int step = 0; step < 1500; ++step) {
        const std::string path = "http://h/" + std::to_string(pick(25));
        const int action = pick(20);
        if (action < 12) {
            const Track track{path, artists[pick(4)], albums[pick(3)], pick(1000)};
            const std::string playlist = pick(5) == 0 ? lists[pick(2)] : "";
            db_add_item({.title = path,
                         .artist = track.artist,
                         .album = track.album,
                         .playlist = playlist.empty() ? Text{} : Text{playlist},
                         .path = path,
                         .track = step,
                         .modified = track.modified});
            model.add(track, playlist);
        } else if (action < 15) {
            db_remove_file(path);
            model.remove(path);
        } else if (action < 19) {
            db_played(std::to_string(id_of(path)));
            model.play(path);
        } else {
            db_prune_empty();
            model.prune();
        }
        StoreLock lock;
        ASSERT_EQ(tree_check(lock), "") << "step " << step;
        ASSERT_EQ(store_text(lock, *store(lock).root, 0), model.text()) << "step " << step;
    }
}

}  // namespace
