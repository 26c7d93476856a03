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
    std::string title;  // of an item its path
    bool permanent = false;
    Node* parent = nullptr;
    int target = 0;  // of a reference
    int modified = 0, plays = 0;
    std::list<std::unique_ptr<Node>> children = {};  // newest first
};

constexpr std::size_t kPlayedEntries = 3;

class Model {
public:
    explicit Model(int first_id) : next_id_(first_id) {
        Node& music = permanent(root_, "Music");
        lists_ = &permanent(music, "Playlists");
        most_played_ = &permanent(*lists_, "- Most Played -");
        all_ = &permanent(music, "All Tracks");
        permanent(permanent(music, "Internet Radio"), "- Favorites- ");
        albums_ = &permanent(music, "Artists/Albums");
        alpha_ = &permanent(music, "Alpha");
        permanent(permanent(root_, "Pictures"), "All Pictures");
        permanent(permanent(root_, "Videos"), "All Videos");
    }

    void add(const NewItem& track) {
        Node* item = find_item(root_, *track.path);
        if (item != nullptr && track.playlist) return join(*item, *track.playlist);
        if (item != nullptr && item->modified >= track.modified) return;
        const auto former = item != nullptr ? lists_of(*item) : std::vector<Node*>{};
        remove(*track.path);
        item = &prepend(*all_, 'i', *track.path);
        item->modified = track.modified;
        // Views are filled in child-list order: the newest first.
        const std::string groups[] = {"ABCDE", "FGHIJ", "KLMNO", "PQRST", "UVWXY", "Z"}, every = "- All -";
        const std::string& group = groups[std::clamp((track.artist->front() - 'A') / 5, 0, 5)];
        reference(find_or_add(find_or_add(*alpha_, group), *track.artist), *item);
        for (const std::string& artist : {*track.artist, every})
            for (const std::string& album : {*track.album, every})
                reference(find_or_add(find_or_add(*albums_, artist), album), *item);
        for (Node* const list : former) reference(*list, *item);
        if (track.playlist) join(*item, *track.playlist);
    }

    void remove(const std::string& path) {
        Node* const item = find_item(root_, path);
        if (item == nullptr) return;
        remove_references(root_, item->id);
        all_->children.remove_if([&](const auto& child) { return child.get() == item; });
    }

    void play(const std::string& path) {
        Node* const item = find_item(root_, path);
        if (item == nullptr) return;
        ++item->plays;
        Node* smallest = nullptr;
        for (auto& entry : most_played_->children) {
            if (entry->target == item->id) {
                entry->plays = item->plays;
                return;
            }
            if (smallest == nullptr || entry->plays < smallest->plays) smallest = entry.get();
        }
        if (most_played_->children.size() < kPlayedEntries) {
            reference(*most_played_, *item).plays = item->plays;
        } else if (smallest->plays < item->plays) {
            smallest->plays = item->plays;
            smallest->target = item->id;
        }
    }

    void prune() { prune(root_); }

    std::string text() const { return text(root_, 0); }

private:
    Node& prepend(Node& parent, char kind, const std::string& title) {
        parent.children.push_front(
            std::make_unique<Node>(Node{.kind = kind, .id = next_id_++, .title = title, .parent = &parent}));
        return *parent.children.front();
    }
    Node& permanent(Node& parent, const std::string& title) {
        Node& made = prepend(parent, 'c', title);
        made.permanent = true;
        return made;
    }
    Node& find_or_add(Node& parent, const std::string& title) {
        for (auto& child : parent.children)
            if (child->kind == 'c' && child->title == title) return *child;
        return prepend(parent, 'c', title);
    }
    Node& reference(Node& parent, const Node& item) {
        Node& made = prepend(parent, 'r', "");
        made.target = item.id;
        return made;
    }
    static Node* find_item(Node& start, const std::string& path) {
        for (auto& child : start.children) {
            if (child->kind == 'i' && child->title == path) return child.get();
            if (Node* const below = find_item(*child, path)) return below;
        }
        return nullptr;
    }
    void join(const Node& item, const std::string& playlist) {
        Node& list = find_or_add(*lists_, playlist);
        const auto same = [&](const auto& entry) { return entry->target == item.id; };
        if (std::ranges::none_of(list.children, same)) reference(list, item);
    }
    // The playlists that the item joined, in the order in which it did.
    std::vector<Node*> lists_of(const Node& item) const {
        std::vector<const Node*> places;
        for (const auto& list : lists_->children)
            for (const auto& entry : list->children)
                if (!list->permanent && entry->target == item.id) places.push_back(entry.get());
        std::ranges::sort(places, {}, &Node::id);
        std::vector<Node*> found;
        for (const Node* const place : places) found.push_back(place->parent);
        return found;
    }
    static void remove_references(Node& start, int target) {
        start.children.remove_if([&](const auto& child) { return child->kind == 'r' && child->target == target; });
        for (auto& child : start.children) remove_references(*child, target);
    }
    void prune(Node& node) {
        for (auto& child : node.children) prune(*child);
        node.children.remove_if([&](const auto& child) {
            return child->kind == 'c' && child->children.empty() && !child->permanent && &node != &root_;
        });
    }
    static std::string text(const Node& node, int depth) {
        std::string out(static_cast<std::size_t>(depth), ' ');
        out += node.kind + std::to_string(node.id) + " " +
               (node.kind == 'r' ? std::to_string(node.target) : node.title) + "\n";
        for (const auto& child : node.children) out += text(*child, depth + 1);
        return out;
    }

    int next_id_;
    Node root_{.kind = 'c', .id = 0, .title = "root"};
    Node *lists_, *most_played_, *all_, *albums_, *alpha_;
};

std::string store_text(const StoreLock& lock, const MediaObject& object, int depth) {
    std::string out(static_cast<std::size_t>(depth), ' ');
    out += static_cast<char>(object.kind) + std::to_string(object.id) + " ";
    const MediaContainer* const container = as_container(&object);
    const ItemReference* const reference = as_reference(&object);
    out += container != nullptr   ? std::string{container->title.view()}
           : reference != nullptr ? std::to_string(reference->target)
                                  : std::string{item_of(lock, &object)->path.view()};
    out += "\n";
    if (container != nullptr)
        for (const MediaObject& child : tree_children(lock, *container)) out += store_text(lock, child, depth + 1);
    return out;
}

class StoreModel : public StoreFixture {
    void configure() override {
        settings_set(Setting::playlistnumentries, std::to_string(kPlayedEntries));
        settings_set(Setting::playlistlastplayed, "");  // its order depends on the clock
        for (int n = 1; n <= 10; ++n) settings_set(setting_of(Setting::musicnode1, n), "");
        settings_set(Setting::musicnode2, "Artists/Albums,%ARTIST,%ALBUM");
        settings_set(Setting::musicnode5, "Alpha,[5]%ARTIST");
        for (int n = 1; n <= 5; ++n) settings_set(setting_of(Setting::picturenode1, n), "");
        for (int n = 1; n <= 5; ++n) settings_set(setting_of(Setting::videonode1, n), "");
    }
};

TEST_F(StoreModel, AgreesAfterEveryRandomStep) {
    Model model{id_of_container({"Music"})};
    std::mt19937 random{20261121};
    const auto pick = [&](int below) { return static_cast<int>(random() % static_cast<unsigned>(below)); };
    const Strings artists = {"Alba", "Bo", "Fen", "Zed"}, albums = {"One", "Two", "Three"}, lists = {"P", "Q"};
    const auto one_of = [&](const Strings& texts) {
        return texts[static_cast<std::size_t>(pick(static_cast<int>(texts.size())))];
    };
    for (int step = 0; step < 1500; ++step) {
        const std::string path = "http://h/" + std::to_string(pick(25));
        const int action = pick(20);
        if (action < 12) {
            const NewItem track{.title = path,
                                .artist = one_of(artists),
                                .album = one_of(albums),
                                .playlist = pick(5) == 0 ? Text{one_of(lists)} : Text{},
                                .path = path,
                                .duration = "0:00:10",
                                .track = step,
                                .modified = pick(50)};
            db_add_item(NewItem{track});
            model.add(track);
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
