// How it works. A view's setting "Genres/Artists,%GENRE,[3]%ARTIST,%ALBUM" is compiled once, into its root container's
// title and a list of levels. An item is then placed by walking down the levels; each level sends it on to one or two
// containers, and the last ones get a reference to it:
//
//     Genres/Artists
//       Rock                              level 1, the item's genre
//         ABC > Abba                      level 2 with letter groups: the group, then the artist
//           Gold > reference              level 3, the album
//           - All - > reference           beside every level without letter groups
//       - All -
//         ABC > Abba > ...
//
// So n levels without letter groups give 2^n references. An item without a value for a level has no container of its
// own there; it is found below "- All -" only, if the level has one. %PATH takes a chain of folders instead of one
// value.
//
// Invariant: views hold references only, and the levels of a view do not change while the tree lives. Containers appear
// with their first item; pruning removes the empty ones, but for folders, which are permanent.
#include "db/view.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/start_directory.h"
#include "core/str.h"
#include "core/utf8.h"
#include "db/objects.h"
#include "db/shared_text.h"
#include "db/tree.h"

namespace {

// A level without letter groups doubles the references of what lies below it, so a view of ten levels holds 1024 for
// each item.
constexpr std::size_t kMaxLevels = 10;

constexpr std::string_view kAll = "- All -";
constexpr std::string_view kUnknown = "Unknown";
constexpr std::string_view kVarious = "Various";
constexpr std::string_view kNoDate = "0000";

enum class Keyword {
    literal,
    title,
    artist,
    album,
    genre,
    duration,
    description,
    track,
    width,
    height,
    year,
    month,
    day,
    path
};

struct KeywordSpec {
    std::string_view name;
    Keyword keyword;
    std::optional<ObjectClass> container_class;  // none: by media type
};

constexpr auto kKeywords = std::to_array<KeywordSpec>({
    {"%TITLE", Keyword::title, std::nullopt},
    {"%ARTIST", Keyword::artist, ObjectClass::music_artist},
    {"%ALBUM", Keyword::album, ObjectClass::music_album},
    {"%GENRE", Keyword::genre, ObjectClass::music_container},
    {"%DURATION", Keyword::duration, ObjectClass::music_container},
    {"%DESCRIPTION", Keyword::description, std::nullopt},
    {"%TRACK", Keyword::track, ObjectClass::music_container},
    {"%WIDTH", Keyword::width, std::nullopt},
    // Kept on purpose: configurations in the field spell it so, and %HEIGHT drops every item from its view.
    {"%HEIGTH", Keyword::height, std::nullopt},
    {"%YEAR", Keyword::year, std::nullopt},
    {"%MONTH", Keyword::month, std::nullopt},
    {"%DAY", Keyword::day, std::nullopt},
    {"%PATH", Keyword::path, std::nullopt},
});

struct Level {
    Keyword keyword = Keyword::literal;
    std::string literal;
    std::optional<ObjectClass> container_class;
    std::int32_t letters = 0;  // of each letter group; 0: no groups, but "- All -"
};

// Returns nullopt if the keyword is unknown; its view then shows nothing.
std::optional<Level> compile_level(std::string_view element) {
    Level level;
    if (element.starts_with('[')) {
        level.letters = std::max(text_int(element.substr(1)), 0);
        const std::size_t bracket = element.find(']');
        element = bracket == std::string_view::npos ? std::string_view{} : element.substr(bracket + 1);
    }
    level.literal = element;
    if (!element.starts_with('%')) return level;
    for (const KeywordSpec& spec : kKeywords) {
        if (!str_equal_nocase(spec.name, element)) continue;
        level.keyword = spec.keyword;
        level.container_class = spec.container_class;
        return level;
    }
    return std::nullopt;
}

// The compiled levels of every view that can be configured, by view number; guarded by the store's lock. Compiled when
// the view's root is made: if settings changed later, one tree would have two shapes.
struct Views {
    std::array<std::optional<std::vector<Level>>, 200> levels;
};
Views& views() {
    return process_wide<Views>();
}

Setting view_setting(std::int32_t number) {
    if (number > 160) return setting_of(Setting::videonode1, number - 160);
    if (number > 130) return setting_of(Setting::picturenode1, number - 130);
    return setting_of(Setting::musicnode1, number - 100);
}

ObjectClass class_by_media_type(ObjectClass media_class) {
    switch (media_class) {
        case ObjectClass::photo:
            return ObjectClass::picture_container;
        case ObjectClass::music_track:
        case ObjectClass::audio_broadcast:
            return ObjectClass::music_container;
        case ObjectClass::movie:
            return ObjectClass::video_container;
        default:
            return ObjectClass::container;
    }
}

// The title of the item's own container at a level; missing or empty if it has none there.
SharedText view_value(const StoreLock& lock, const Level& level, const MediaItem& item) {
    const auto number = [&](std::int32_t value) { return tree_intern(lock, text_format(16, "%d", value)); };
    const auto or_unknown = [&](const SharedText& text) { return text ? text : tree_intern(lock, kUnknown); };
    // Without a date every part of it is zeros, as many as the part is long.
    const auto of_date = [&](std::size_t start, std::size_t length) {
        const std::string_view date = item.date.view();
        if (!item.date) return tree_intern(lock, kNoDate.substr(0, length));
        return tree_intern(lock, date.size() > start ? date.substr(start, length) : std::string_view{});
    };
    switch (level.keyword) {
        case Keyword::literal:
            return tree_intern(lock, level.literal);
        case Keyword::title:
            return tree_intern(lock, item.title.view());
        case Keyword::artist:
            return item.compilation != 0 ? tree_intern(lock, kVarious) : or_unknown(item.artist);
        case Keyword::album:
            return or_unknown(item.album);
        case Keyword::genre:
            return or_unknown(item.genre);
        case Keyword::duration:
            return tree_intern(lock, item.duration.view());
        case Keyword::description:
            return tree_intern(lock, item.description.view());
        case Keyword::track:
            return number(item.track);
        case Keyword::width:
            return number(item.width);
        case Keyword::height:
            return number(item.height);
        case Keyword::year:
            return of_date(0, 4);
        case Keyword::month:
            return of_date(5, 2);
        case Keyword::day:
            return of_date(8, 2);
        case Keyword::path:
            break;
    }
    return {};
}

// Finds or creates the chain of folder containers for the item's path and returns the deepest one; null if the path is
// no path of a folder. Folder containers are permanent: pruning leaves them.
MediaContainer* view_folder_container(const StoreLock& lock, std::string_view path, std::string_view folders,
                                      MediaContainer& start, ObjectClass container_class) {
    if (path.starts_with("http://") || path.starts_with('.')) return nullptr;
    const std::size_t slash = folders.rfind('/');
    // Kept on purpose: a "/" at the very front is none that ends a folder name.
    if (slash != std::string_view::npos && slash > 0) folders = folders.substr(0, slash + 1);
    MediaContainer* container = &start;
    for (std::size_t end = folders.find('/'); end != std::string_view::npos; end = folders.find('/')) {
        if (end == 0) return nullptr;
        container = &tree_find_or_add_container(
            lock, *container,
            {.title = tree_intern(lock, folders.substr(0, end)), .object_class = container_class, .permanent = true});
        folders.remove_prefix(end + 1);
    }
    return container;
}

// Adds the references to one item in one view.
class ViewBranches {
public:
    ViewBranches(const StoreLock& lock, MediaItem& item, std::string_view relative_path, std::span<const Level> levels)
        : lock_(lock),
          item_(item),
          relative_path_(relative_path),
          levels_(levels),
          media_container_(class_by_media_type(item.object_class)) {}

    // Recursion is at most kMaxLevels deep.
    void add(MediaContainer& container, std::size_t depth) const {
        if (depth == levels_.size()) {
            tree_add_reference(lock_, container, item_, kViewSortKey);
            return;
        }
        const Level& level = levels_[depth];
        if (MediaContainer* const own = level_container(level, container)) add(*own, depth + 1);
        if (level.letters > 0) return;
        add(find_or_add(container, tree_intern(lock_, kAll), media_container_), depth + 1);
    }

private:
    static constexpr std::int32_t kViewSortKey = -1;

    MediaContainer& find_or_add(MediaContainer& parent, SharedText title, ObjectClass container_class) const {
        return tree_find_or_add_container(lock_, parent, {.title = std::move(title), .object_class = container_class});
    }

    // The item's own container at the level; null if it has none.
    MediaContainer* level_container(const Level& level, MediaContainer& container) const {
        const ObjectClass container_class = level.container_class.value_or(media_container_);
        if (level.keyword == Keyword::path)
            return view_folder_container(lock_, item_.path.view(), relative_path_, container, container_class);
        const SharedText value = view_value(lock_, level, item_);
        if (!value.has_text()) return nullptr;
        if (level.letters == 0) return &find_or_add(container, value, container_class);
        std::string_view rest = value.view();
        // A text that is not UTF-8 is grouped by its first byte.
        const std::uint32_t first = utf8_take(rest).value_or(static_cast<unsigned char>(value.view().front()));
        const std::string group = view_letter_group(first, level.letters);
        return &find_or_add(find_or_add(container, tree_intern(lock_, group), container_class), value, container_class);
    }

    const StoreLock& lock_;
    MediaItem& item_;
    std::string_view relative_path_;
    std::span<const Level> levels_;
    ObjectClass media_container_;
};

// The levels of a view; the first element is its title. Returns nullopt if a level is unknown.
std::optional<std::vector<Level>> compile_view(const SettingList& elements) {
    std::vector<Level> levels;
    for (std::size_t i = 1; i < elements.size() && levels.size() < kMaxLevels; ++i) {
        auto level = compile_level(elements[i]);
        if (!level) return std::nullopt;
        levels.push_back(std::move(*level));
    }
    return levels;
}

// The part of the path after a content directory. Returns nullopt if the path does not begin with it. For a directory
// without a final "/" the one in the path is dropped as well.
std::optional<std::string_view> rest_below(std::string_view path, std::string_view directory, bool ends_in_slash) {
    if (directory.empty() || !str_starts_nocase(path, directory)) return std::nullopt;
    path.remove_prefix(std::min(directory.size() + (ends_in_slash ? 0 : 1), path.size()));
    // The scanner puts its own "/" between a directory written with one and a file directly in it.
    if (ends_in_slash && directory.ends_with('/') && path.starts_with('/')) path.remove_prefix(1);
    return path;
}

}  // namespace

void view_create_roots(const StoreLock& lock, MediaContainer& top, std::int32_t first_number, std::int32_t count) {
    for (std::int32_t number = first_number; number < first_number + count; ++number) {
        const auto elements = settings_list(view_setting(number));
        if (elements->empty() || elements->front().empty()) continue;
        if (elements->size() > kMaxLevels + 1)
            log_message(LOG_PROBLEM, LOG_DB, "view %s has more than %zu levels, the others are left out\n",
                        elements->front().c_str(), kMaxLevels);
        tree_add_container(lock, top,
                           {.title = tree_intern(lock, elements->front()), .permanent = true, .view_number = number});
        views().levels[static_cast<std::size_t>(number)] = compile_view(*elements);
    }
}

void view_add_item(const StoreLock& lock, MediaItem& item, std::string_view relative_path, MediaContainer& top) {
    for (MediaContainer& root : tree_child_containers(lock, top)) {
        if (root.view_number == 0) continue;
        const auto& levels = views().levels[static_cast<std::size_t>(root.view_number)];
        if (levels) ViewBranches{lock, item, relative_path, *levels}.add(root, 0);
    }
}

std::string view_letter_group(std::uint32_t first_character, std::int32_t letters) {
    struct Fold {
        std::uint32_t first, last;
        std::uint32_t base;
    };
    // Latin-1 capitals with diacritics; the small ones are 0x20 higher. Kept on purpose: the multiplication and the
    // division sign are in the range of "O".
    static constexpr auto kFolds = std::to_array<Fold>({{0xC0, 0xC6, 'A'},
                                                        {0xC7, 0xC7, 'C'},
                                                        {0xC8, 0xCB, 'E'},
                                                        {0xCC, 0xCF, 'I'},
                                                        {0xD1, 0xD1, 'N'},
                                                        {0xD2, 0xD8, 'O'},
                                                        {0xD9, 0xDC, 'U'}});
    std::uint32_t letter = first_character;
    for (const Fold& fold : kFolds) {
        const std::uint32_t capital = first_character < 0xE0 ? first_character : first_character - 0x20;
        if (first_character < 0x100 && capital >= fold.first && capital <= fold.last) letter = fold.base;
    }
    if (letter >= 'a' && letter <= 'z') letter -= 0x20;
    constexpr std::int64_t kLastLetter = 'Z' - 'A';
    const std::int64_t position = std::clamp<std::int64_t>(static_cast<std::int64_t>(letter) - 'A', 0, kLastLetter);
    const std::int64_t first = position / letters * letters;
    std::string title;
    for (std::int64_t i = first; i < first + letters && i <= kLastLetter; ++i)
        title.push_back(static_cast<char>('A' + i));
    return title;
}

std::string_view view_relative_path(std::string_view path) {
    constexpr std::size_t kPrefix = 2;  // "M|", "P|", "V|"
    const auto directories = settings_list(Setting::contentdir);
    for (const std::string& element : *directories) {
        if (const auto rest = rest_below(path, element, element.ends_with('/'))) return *rest;
        if (element.size() <= kPrefix) continue;
        const std::string_view stripped = std::string_view{element}.substr(kPrefix);
        // Kept on purpose: the "/" is looked for at a position of the whole element, two before its end.
        if (const auto rest = rest_below(path, stripped, element[stripped.size() - 1] == '/')) return *rest;
    }
    const std::string& standard = start_directory();
    if (const auto rest = rest_below(path, standard, standard.ends_with('/'))) return *rest;
    return path;
}
