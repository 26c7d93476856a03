#include "upnp/didl.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/str.h"
#include "core/text_buffer.h"
#include "core/time_text.h"
#include "core/xml_escape.h"
#include "db/group_facts.h"
#include "db/objects.h"
#include "db/tree.h"
#include "upnp/didl_filter.h"
#include "upnp/protocol_info.h"
#include "upnp/renditions.h"

namespace {

// The part of a cover's URL that names the kind of file it is taken from. In small letters, as in the URL table.
std::string art_extension(const MediaItem& item) {
    std::string extension{path_extension(item.path.view())};
    std::ranges::transform(extension, extension.begin(), char_lower);
    return extension;
}

constexpr std::size_t kMaxUrl = 1024;
// A longer duration text is damaged.
constexpr std::size_t kMaxDuration = 256;

// ---- cutting escaped text

// The length of the escaped text's first character: "&amp;lt;" is one, and so is a UTF-8 sequence.
std::size_t first_unit(std::string_view escaped, ClientText client) {
    if (escaped.front() == '&') {
        const std::size_t inner = escaped.find(';');
        return std::min(escaped.find(';', inner + 1), escaped.size() - 1) + 1;
    }
    std::size_t length = 1;
    const auto continues = [&] { return (static_cast<unsigned char>(escaped[length]) & 0xC0) == 0x80; };
    if (client == ClientText::utf8)
        while (length < escaped.size() && continues()) ++length;
    return length;
}

// The longest head of at most room bytes that does not end within a character: half an entity would break the XML.
std::string_view fitting_head(std::string_view escaped, std::size_t room, ClientText client) {
    if (escaped.size() <= room) return escaped;
    std::size_t end = 0;
    for (std::size_t next = 0; next <= room; next += first_unit(escaped.substr(next), client)) end = next;
    return escaped.substr(0, end);
}

// ---- elements

std::optional<std::string_view> value_of(const SharedText& text) {
    return text ? std::optional{text.view()} : std::nullopt;
}

// Escaped for an attribute in plain quotes.
std::string attribute_value(std::string_view text, ClientText client) {
    const std::string escaped = xml_escape_for(text, client).value_or("");
    std::string out;
    for (const char c : fitting_head(escaped, kMaxDuration, client)) {
        if (c == '"') {
            out.append("&amp;quot;");
        } else {
            out.push_back(c);
        }
    }
    return out;
}

class Renderer {
public:
    Renderer(const StoreLock& lock, TextBuffer& output, const DidlFilter& filter, const DidlClient& client)
        : lock_(lock),
          output_(output),
          filter_(filter),
          client_(client),
          text_(client.profile.takes_single_bytes ? ClientText::single_bytes : ClientText::utf8) {}

    void container(const MediaContainer& container);
    void item(const MediaObject& object, const MediaItem& item);

private:
    using Value = std::optional<std::string_view>;

    bool has(DidlField field) const { return filter_.has(field); }
    const char* base() const { return client_.base_url.c_str(); }

    void element(std::string_view name, Value value, std::string_view attributes = {}) {
        didl_append_element(output_, name, attributes, value, text_);
    }
    void element_if(DidlField field, std::string_view name, const SharedText& text) {
        if (has(field)) element(name, value_of(text));
    }

    void container_date(const MediaContainer& container);
    void group(const MediaContainer& container);
    void group_playlist(const MediaContainer& container);

    void item_elements(const MediaObject& object, const MediaItem& item);
    void track_number(const MediaObject& object, const MediaItem& item);
    void album_art(const MediaObject& object, const MediaItem& item);
    void resource(const MediaObject& object, const MediaItem& item);

    const StoreLock& lock_;
    TextBuffer& output_;
    const DidlFilter& filter_;
    const DidlClient& client_;
    const ClientText text_;
};

// ---- containers

void Renderer::container(const MediaContainer& container) {
    output_.append(text_format(kMaxElement + 1,
                               "&lt;container id=\"%d\" parentID=\"%d\" childCount=\"%d\" restricted=\"%d\" "
                               "searchable=\"1\"&gt;",
                               container.id, container.parent, container.child_count, container.permanent ? 1 : 0));
    if (client_.profile.shows_icons) element("icon", text_format(kMaxUrl, "%spicture/folder.goicon", base()));
    element("dc:title", value_of(container.title));
    if (has(DidlField::date)) container_date(container);
    if (is_music_grouping(container.object_class)) {
        group(container);
        if (client_.profile.takes_m3u_containers) group_playlist(container);
    }
    const bool as_folder = client_.profile.shows_plain_folders;
    element("upnp:class", class_text(as_folder ? ObjectClass::storage_folder : container.object_class));
    output_.append("&lt;/container&gt;");
}

void Renderer::container_date(const MediaContainer& container) {
    const MediaItem* const first = item_of(lock_, tree_object(lock_, container.first_child));
    element("dc:date", first != nullptr ? value_of(first->date) : std::nullopt);
}

void Renderer::group(const MediaContainer& container) {
    const bool art = has(DidlField::album_art);
    if (!has(DidlField::artist) && !has(DidlField::genre) && !art) return;
    const GroupFacts facts = group_facts(lock_, container);
    const auto value = [](const MediaItem* item, SharedText MediaItem::*field) {
        return item != nullptr ? value_of(item->*field) : std::nullopt;
    };
    if (has(DidlField::artist)) element("upnp:artist", value(facts.artist, &MediaItem::artist));
    if (has(DidlField::genre)) element("upnp:genre", value(facts.genre, &MediaItem::genre));
    if (!art || facts.album_art == nullptr) return;
    const std::string extension = art_extension(*facts.album_art);
    element("upnp:albumArtURI", text_format(kMaxUrl, "%salbumart-%s/%d.jpg", base(), extension.c_str(), container.id));
}

// The whole folder as one resource: a playlist, for clients that play those.
void Renderer::group_playlist(const MediaContainer& container) {
    std::string attributes;
    if (has(DidlField::duration)) {
        constexpr std::int64_t kLongest = INT64_MAX / 1000;
        const std::int64_t seconds = std::min(didl_music_seconds(lock_, container), kLongest);
        attributes = text_format(kMaxElement + 1, " duration=\"%s\" ", format_duration(seconds * 1000).c_str());
    }
    if (!has(DidlField::resource) && attributes.empty()) return;
    attributes.append(" protocolInfo=\"").append(protocol_info("audio/x-mpegurl")).append("\"");
    element("res", text_format(kMaxUrl, "%sm3u/%d.m3u", base(), container.id), attributes);
}

// ---- items

void Renderer::item(const MediaObject& object, const MediaItem& item) {
    if (object.kind == ObjectKind::reference) {
        output_.append(text_format(kMaxElement + 1,
                                   "&lt;item id=\"%d\" refID=\"%d\" parentID=\"%d\" restricted=\"1\"&gt;", object.id,
                                   item.id, object.parent));
    } else {
        output_.append(text_format(kMaxElement + 1, "&lt;item id=\"%d\" parentID=\"%d\" restricted=\"1\"&gt;",
                                   object.id, object.parent));
    }
    item_elements(object, item);
    resource(object, item);
    element("upnp:class", class_text(item.object_class));
    output_.append("&lt;/item&gt;");
}

void Renderer::item_elements(const MediaObject& object, const MediaItem& item) {
    const bool track = item.object_class == ObjectClass::music_track;
    const bool audio = track || item.object_class == ObjectClass::audio_broadcast;
    const bool photo = item.object_class == ObjectClass::photo;
    element("dc:title", value_of(item.title));
    if (track) {
        element_if(DidlField::creator, "dc:creator", item.artist);
        element_if(DidlField::artist, "upnp:artist", item.artist);
    }
    element_if(DidlField::album, "upnp:album", item.album);
    if (audio) {
        element_if(DidlField::genre, "upnp:genre", item.genre);
        element_if(DidlField::playlist, "upnp:playlist", item.playlist);
    }
    element_if(DidlField::date, "dc:date", item.date);
    if (track && has(DidlField::track_number)) track_number(object, item);
    if (photo) element_if(DidlField::description, "dc:description", item.description);
    if (track && has(DidlField::album_art)) album_art(object, item);
    if (photo) element_if(DidlField::keywords, "upnp:keywords", item.keywords);
    if (has(DidlField::icon)) picture_append_icon(output_, client_.profile, client_.base_url, object.id, item);
}

void Renderer::track_number(const MediaObject& object, const MediaItem& item) {
    const ItemReference* const reference = as_reference(&object);
    const bool has_position = reference != nullptr && reference->sort_key >= 1;
    element("upnp:originalTrackNumber", text_format(16, "%d", has_position ? reference->sort_key : item.track));
}

void Renderer::album_art(const MediaObject& object, const MediaItem& item) {
    constexpr std::string_view kProfile =
        " dlna:profileID=\"JPEG_TN\" xmlns:dlna=\"urn:schemas-dlna-org:metadata-1-0\"";
    if (item.album_art == 0) return element("upnp:albumArtURI", std::nullopt);
    const std::string extension = art_extension(item);
    element("upnp:albumArtURI", text_format(kMaxUrl, "%salbumart-%s/%d.jpg", base(), extension.c_str(), object.id),
            kProfile);
}

// ---- resources

const char* media_part(std::string_view path) {
    if (path.starts_with("http://")) return "httpproxy";
    return path.starts_with("ftp://") ? "ftpproxy" : "disk";
}

std::string url_extension(const MediaItem& item) {
    if (item.object_class == ObjectClass::audio_broadcast) return "mp3";
    if (item.object_class == ObjectClass::photo) return "jpg";
    return std::string{path_extension(item.path.view())};
}

void Renderer::resource(const MediaObject& object, const MediaItem& item) {
    const bool is_photo = item.object_class == ObjectClass::photo,
               is_track = item.object_class == ObjectClass::music_track;
    std::string attributes = " ";
    if (has(DidlField::size) && item.size != 0)
        attributes.append(text_format(64, "size=\"%lld\" ", static_cast<long long>(item.size)));
    if (has(DidlField::duration) && is_track && item.duration.has_text())
        attributes.append("duration=\"").append(attribute_value(item.duration.view(), text_)).append("\" ");
    if (!has(DidlField::resource) && attributes.size() == 1) return;

    // Renditions have no attributes: their sizes are in their URLs.
    if (is_photo && !client_.original_pictures)
        return picture_append_res(output_, client_.profile, client_.base_url, object.id, item);
    if (is_photo) attributes.append(text_format(64, "resolution=\"%dx%d\" ", item.width, item.height));

    const std::string_view path = item.path.view();
    const ListedForm form = listed_form(item.object_class, path, client_.profile.takes_dlna_fields);
    attributes.append("protocolInfo=\"").append(form.protocol_info).append("\" ");
    std::string name = std::to_string(object.id);
    if (!form.dlna_profile.empty()) name.append("_DLNA_").append(form.dlna_profile);
    element("res",
            text_format(kMaxUrl, "%s%s/%s.%s", base(), media_part(path), name.c_str(), url_extension(item).c_str()),
            attributes);
}

}  // namespace

void didl_append_object(const StoreLock& lock, TextBuffer& output, const MediaObject& object, const DidlFilter& filter,
                        const DidlClient& client) {
    Renderer renderer{lock, output, filter, client};
    if (const MediaContainer* const container = as_container(&object)) return renderer.container(*container);
    if (const MediaItem* const item = item_of(lock, &object)) renderer.item(object, *item);
}

void didl_append_element(TextBuffer& output, std::string_view name, std::string_view attributes,
                         std::optional<std::string_view> value, ClientText client) {
    constexpr std::size_t kBrackets = std::string_view{"&lt;&gt;&lt;/&gt;"}.size();
    const std::size_t frame = kBrackets + 2 * name.size() + attributes.size();
    const std::string escaped = xml_escape_for(value.value_or(""), client).value_or("");
    const std::size_t room = kMaxElement > frame ? kMaxElement - frame : 0;
    output.append("&lt;").append(name).append(attributes).append("&gt;");
    output.append(fitting_head(escaped, room, client)).append("&lt;/").append(name).append("&gt;");
}
