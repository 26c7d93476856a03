#include "db/add_item.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "core/file.h"
#include "core/log.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/text_clean.h"
#include "db/objects.h"
#include "db/store.h"
#include "db/tree.h"
#include "db/view.h"

namespace {

// Adds a reference to an item of the store to the playlist, unless it has one already.
void join_playlist(const StoreLock& lock, MediaItem& item, std::string_view playlist, std::int32_t position) {
    MediaContainer* const playlists = store(lock).playlists;
    if (playlists == nullptr) return;
    MediaContainer& list = tree_find_or_add_container(
        lock, *playlists, {.title = tree_intern(lock, playlist), .object_class = ObjectClass::playlist_container});
    if (db_find_item_by_path(lock, list, item.path.view()) == nullptr) tree_add_reference(lock, list, item, position);
}

// The references that playlists have to an item which is being replaced; its successor takes over these seats. Nobody
// else would restore them: the importer of a music library reads it again only when the library changes.
struct PlaylistSeat {
    ObjectId playlist = kNoObject;
    std::int32_t sort_key = 0;
};
struct FormerSeats {
    Text playlist;                    // the item's own playlist field; outlives the lock
    std::vector<PlaylistSeat> seats;  // in the order in which the item took them
};

FormerSeats seats_of(const StoreLock& lock, const MediaItem& item) {
    FormerSeats former;
    if (item.playlist) former.playlist = std::string{item.playlist.view()};
    const MediaContainer* const playlists = store(lock).playlists;
    tree_for_each_reference(lock, item, [&](const ItemReference& reference) {
        const MediaContainer* const list = tree_parent(lock, reference);
        const bool imported = playlists != nullptr && list->parent == playlists->id && !list->permanent;
        if (imported) former.seats.push_back({.playlist = list->id, .sort_key = reference.sort_key});
    });
    std::ranges::reverse(former.seats);
    return former;
}

void take_seats(const StoreLock& lock, MediaItem& item, const FormerSeats& former) {
    if (!item.playlist && former.playlist) item.playlist = tree_intern(lock, *former.playlist);
    for (const PlaylistSeat& seat : former.seats) {
        MediaContainer* const list = as_container(tree_object(lock, seat.playlist));
        if (list != nullptr && db_find_item_by_path(lock, *list, item.path.view()) == nullptr)
            tree_add_reference(lock, *list, item, seat.sort_key);
    }
}

// Whether the present item stays. If it is older than the file, it is removed with all its references, and former gets
// its seats.
bool keeps_present(const StoreLock& lock, MediaItem& present, const NewItem& wanted, FormerSeats& former) {
    if (const std::string_view playlist = text_or_empty(wanted.playlist); !playlist.empty()) {
        if (!present.playlist) present.playlist = tree_intern(lock, playlist);
        join_playlist(lock, present, playlist, wanted.track);
        return true;
    }
    if (wanted.track != 0 && wanted.track != present.track) {
        present.track = wanted.track;
        tree_item_changed(lock);
    }
    if (present.modified >= wanted.modified) return true;
    former = seats_of(lock, present);
    tree_remove_item(lock, present);
    return false;
}

// Titles, artists, albums and genres are cleaned on their way in; the other texts only lose what XML forbids.
struct CleanTexts {
    std::string title;
    std::string_view relative_path;  // for the folder views
    Text artist, album, genre, playlist, date, duration, description, keywords;
};

Text cleaned(const Text& text) {
    return text ? Text{text_clean(*text)} : Text{};
}
Text kept(const Text& text) {
    return text ? Text{text_without_forbidden_controls(*text)} : Text{};
}

// Made from the path where there is no title.
std::string clean_title(std::string_view wanted, std::string_view path) {
    std::string title = text_clean(wanted);
    if (title.empty()) title = title_from_path(path);
    return settings_get_bool(Setting::adaptcase) ? adapt_case(title) : title;
}

CleanTexts clean(const NewItem& wanted) {
    const bool audio =
        wanted.media_class == ObjectClass::music_track || wanted.media_class == ObjectClass::audio_broadcast;
    const std::string_view path = text_or_empty(wanted.path);
    return {.title = clean_title(text_or_empty(wanted.title), path),
            .relative_path = view_relative_path(path),
            .artist = cleaned(wanted.artist),
            .album = audio ? cleaned(wanted.album) : kept(wanted.album),
            .genre = cleaned(wanted.genre),
            .playlist = kept(wanted.playlist),
            .date = kept(wanted.date),
            .duration = kept(wanted.duration),
            .description = kept(wanted.description),
            .keywords = kept(wanted.keywords)};
}

MediaItem make_item(const StoreLock& lock, const NewItem& wanted, const CleanTexts& texts) {
    const auto shared = [&](const Text& text) { return text ? tree_intern(lock, *text) : SharedText{}; };
    const auto own = [](const Text& text) { return text ? SharedText{*text} : SharedText{}; };
    MediaItem item;
    item.id = tree_take_id(lock);  // before those of the containers made for it; also if it is refused
    item.object_class = wanted.media_class;
    item.title = SharedText{texts.title};
    item.titled_by_file = !has_text(wanted.title);
    item.artist = shared(texts.artist);
    item.album = shared(texts.album);
    item.genre = shared(texts.genre);
    item.playlist = shared(texts.playlist);
    item.date = shared(texts.date);
    item.path = SharedText{text_or_empty(wanted.path)};
    item.duration = own(texts.duration);
    item.description = own(texts.description);
    item.keywords = own(texts.keywords);
    item.size = wanted.size;
    item.width = wanted.width;
    item.height = wanted.height;
    item.track = wanted.track;
    item.bitrate = wanted.bitrate;
    item.album_art = wanted.album_art;
    item.compilation = wanted.compilation;
    item.modified = wanted.modified;
    item.last_played = wanted.last_played;
    item.play_count = wanted.play_count;
    item.seen_in_pass = store(lock).scan_pass;
    return item;
}

// A station from a playlist joins the own stations. Any other one, from the station directory, is listed below its
// genre.
AddResult link_station(const StoreLock& lock, MediaItem&& item, const CleanTexts& texts) {
    const MediaStore& media = store(lock);
    if (media.internet_radio == nullptr) return AddResult::failed;
    const bool own = has_text(texts.playlist) && media.own_radio_stations != nullptr;
    if (own) {
        const std::int32_t position = item.track;
        MediaItem& added = tree_add_item(lock, *media.own_radio_stations, std::move(item));
        join_playlist(lock, added, text_or_empty(texts.playlist), position);
        return AddResult::added;
    }
    if (!has_text(texts.genre)) return AddResult::failed;
    item.bitrate = 0;  // kept on purpose: the bitrate that the station directory tells is not listed
    MediaContainer& genre = tree_find_or_add_container(
        lock, *media.internet_radio, {.title = item.genre, .object_class = ObjectClass::music_container});
    tree_add_item(lock, genre, std::move(item));
    return AddResult::added;
}

AddResult link_listed(const StoreLock& lock, MediaContainer* top, MediaContainer* all, MediaItem&& item,
                      const CleanTexts& texts) {
    if (top == nullptr || all == nullptr) return AddResult::failed;
    const std::int32_t position = item.track;
    MediaItem& added = tree_add_item(lock, *all, std::move(item));
    view_add_item(lock, added, texts.relative_path, *top);
    if (added.object_class == ObjectClass::music_track && has_text(texts.playlist))
        join_playlist(lock, added, text_or_empty(texts.playlist), position);
    return AddResult::added;
}

// Folders and devices do not count: a record of the persistence file that was cut short may name one.
bool is_there(const std::string& path) {
    if (db_path_is_remote(path)) return true;
    const auto status = file_status(path);
    return status && status->regular;
}

// Puts the item where its class belongs. It is refused if its top-level container is switched off.
AddResult link(const StoreLock& lock, MediaItem&& item, const CleanTexts& texts) {
    const MediaStore& media = store(lock);
    if (texts.title.empty()) return AddResult::failed;
    switch (item.object_class) {
        case ObjectClass::photo:
            return link_listed(lock, media.pictures, media.all_pictures, std::move(item), texts);
        case ObjectClass::movie:
            return link_listed(lock, media.videos, media.all_videos, std::move(item), texts);
        case ObjectClass::music_track:
            return link_listed(lock, media.music, media.all_tracks, std::move(item), texts);
        case ObjectClass::audio_broadcast:
            return link_station(lock, std::move(item), texts);
        default:
            return AddResult::failed;
    }
}

}  // namespace

AddResult db_add_item(const NewItem& wanted) {
    const std::string path{text_or_empty(wanted.path)};
    if (path.empty()) return AddResult::failed;
    FormerSeats former;
    {
        StoreLock lock;
        MediaItem* const present = db_find_in_type(lock, path, wanted.media_class);
        if (present != nullptr && keeps_present(lock, *present, wanted, former)) return AddResult::already_present;
    }
    // The disk and the settings are asked without the lock.
    if (!is_there(path)) {
        log_message(LOG_PROBLEM, LOG_DB, "item could not be found on disk: %s\n", path.c_str());
        return AddResult::failed;
    }
    const CleanTexts texts = clean(wanted);

    StoreLock lock;
    // Another thread may have added the same file while the lock was free.
    MediaItem* const present = db_find_in_type(lock, path, wanted.media_class);
    if (present != nullptr && keeps_present(lock, *present, wanted, former)) {
        take_seats(lock, *present, former);
        return AddResult::already_present;
    }
    const AddResult result = link(lock, make_item(lock, wanted, texts), texts);
    if (former.seats.empty() || result != AddResult::added) return result;
    if (MediaItem* const added = db_find_in_type(lock, path, wanted.media_class)) take_seats(lock, *added, former);
    return result;
}

void db_title_by_playlist(const std::string& path, std::string_view title) {
    CleanTexts texts;
    texts.title = clean_title(title, path);
    texts.relative_path = view_relative_path(path);
    const std::string of_file = clean_title({}, path);
    StoreLock lock;
    MediaItem* const present = db_find_in_type(lock, path, ObjectClass::music_track);
    if (present == nullptr || !present->titled_by_file || present->title.view() != of_file) return;
    present->titled_by_file = false;  // or two playlists would rename it for ever
    if (texts.title == of_file) return;
    const FormerSeats former = seats_of(lock, *present);
    MediaItem retitled = *present;
    retitled.title = SharedText{texts.title};
    retitled.id = retitled.parent = retitled.next = retitled.previous = kNoObject;
    retitled.first_reference = kNoObject;
    tree_remove_item(lock, *present);
    link(lock, std::move(retitled), texts);
    take_seats(lock, *db_find_in_type(lock, path, ObjectClass::music_track), former);
}

bool db_is_newer_on_disk(std::string_view path, ObjectClass media_class, std::int32_t modified_on_disk) {
    StoreLock lock;
    MediaItem* const item = db_find_in_type(lock, path, media_class);
    if (item == nullptr) return true;
    item->seen_in_pass = store(lock).scan_pass;
    return modified_on_disk > item->modified;
}
