#include "upnp/content_directory.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "core/xml.h"
#include "core/xml_escape.h"
#include "db/listing.h"
#include "db/listing_cache.h"
#include "db/objects.h"
#include "db/search_criteria.h"
#include "db/store.h"
#include "db/tree.h"
#include "db/update.h"
#include "http/request.h"
#include "upnp/browse_id.h"
#include "upnp/client_profile.h"
#include "upnp/clients.h"
#include "upnp/didl.h"
#include "upnp/soap.h"

namespace {

enum Fault : int {
    kNone = 0,
    kBadArguments = 402,
    kNoSuchObject = 701,
    kBadSearchCriteria = 708,
};

// A response takes no further object once it has this many bytes, however many objects were asked for.
constexpr std::size_t kAnswerStop = 195'001;
constexpr std::size_t kFirstCapacity = 16 * 1024;

// ---- the frame around the objects

constexpr std::string_view kService = "ContentDirectory";
constexpr std::string_view kListHead =
    "<Result>&lt;DIDL-Lite "
    "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
    "xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\"&gt;";

// The UpdateID is always 0: clients follow the evented ids.
constexpr const char* kListTail =
    "&lt;/DIDL-Lite&gt;</Result><NumberReturned>%d</NumberReturned><TotalMatches>%d</TotalMatches>"
    "<UpdateID>0</UpdateID>";

class ListAnswer {
public:
    ListAnswer(std::string_view action, const Text& filter, const HttpRequest& request, const RequestClient& client)
        : soap_(kService, action, {}, kFirstCapacity),
          filter_(filter),
          client_{.profile = *client.profile,
                  .base_url = request.base_url,
                  .original_pictures = settings_get_bool(Setting::norescale)} {
        soap_.text().append(kListHead);
    }

    // The only part of a response that needs the store lock.
    void append(const StoreLock& lock, const MediaObject& object) {
        didl_append_object(lock, soap_.text(), object, filter_, client_);
        ++returned_;
    }
    // Objects from first on, at most limit of them (0: no limit). Both are ui4 on the wire, so what a 32-bit number
    // shows as negative is beyond every list, or no limit.
    void append_window(const StoreLock& lock, const ObjectIds& ids, std::int32_t first, std::int32_t limit) {
        const auto start = static_cast<std::size_t>(static_cast<std::uint32_t>(first));
        const auto count = static_cast<std::size_t>(static_cast<std::uint32_t>(limit));
        for (std::size_t at = start; at < ids.size() && (count == 0 || at - start < count); ++at) {
            append(lock, *tree_object(lock, ids[at]));
            if (soap_.text().length() >= kAnswerStop) break;
        }
    }

    HandlerResult send(const HttpRequest& request, HttpResponse& response, std::size_t total,
                       std::string_view after_update_id = {}) {
        soap_.text().append(text_format(1024, kListTail, returned_, static_cast<int>(total))).append(after_update_id);
        return soap_.send(request, response);
    }

private:
    SoapResponse soap_;
    DidlFilter filter_;
    DidlClient client_;
    int returned_ = 0;
};

HandlerResult send_short_answer(const HttpRequest& request, HttpResponse& response, std::string_view action,
                                std::string_view arguments) {
    SoapResponse soap{kService, action};
    soap.text().append(arguments);
    return soap.send(request, response);
}

// ---- what is asked for, and by whom

struct Asked {
    BrowseId id;
    RequestClient client;
};
// One kind of client makes itself known by the ObjectID that it asks for, and is answered as that kind at once.
Asked read_asked(const HttpRequest& request, std::string_view object_id) {
    return {.id = browse_id_read(object_id, request.client.music_only),
            .client = client_learn_from_object_id(request.client, object_id, request.peer)};
}

struct WantedContainer {
    const MediaContainer* container = nullptr;
    Fault fault = kNone;
};
WantedContainer find_container(const StoreLock& lock, const BrowseId& id) {
    const MediaObject* const object = tree_object(lock, db_map_browse_id(lock, id));
    if (object == nullptr) return {.fault = kNoSuchObject};
    const MediaContainer* const container = as_container(object);
    return {.container = container, .fault = container != nullptr ? kNone : kBadArguments};
}

// `@id = "17" and ...` becomes `@id = "17"`.
void cut_after_pinned_id(std::string& criteria) {
    constexpr std::size_t kFirstDigit = 8;  // of `@id = "1`, so that the closing quote is found
    if (!criteria.starts_with("@id =")) return;
    const std::size_t closing = criteria.find('"', kFirstDigit);
    if (closing != std::string::npos) criteria.resize(closing + 1);
}

std::string search_text(const ClientProfile& client, const Text& search_criteria) {
    std::string text = xml_unescape(text_or_empty(search_criteria));
    if (client.adds_to_pinned_id) cut_after_pinned_id(text);
    return text;
}

}  // namespace

HandlerResult cd_browse_direct_children(const HttpRequest& request, HttpResponse& response,
                                        const BrowseArguments& arguments) {
    if (!arguments.object_id) return soap_send_fault(request, response, kNoSuchObject);
    const auto [id, client] = read_asked(request, *arguments.object_id);
    const ListingOrder order = listing_order(arguments.sort_criteria);
    ListAnswer answer{"Browse", arguments.filter, request, client};
    std::size_t total = 0;
    Fault fault = kNone;
    {
        StoreLock lock;
        const WantedContainer wanted = find_container(lock, id);
        fault = wanted.fault;
        if (fault == kNone) {
            const Listing listing = listing_children(lock, *wanted.container, order);
            total = listing->size();
            answer.append_window(lock, *listing, arguments.starting_index, arguments.requested_count);
        }
    }
    return fault != kNone ? soap_send_fault(request, response, fault) : answer.send(request, response, total);
}

HandlerResult cd_browse_metadata(const HttpRequest& request, HttpResponse& response, const Text& object_id,
                                 const Text& filter) {
    if (!object_id) return soap_send_fault(request, response, kNoSuchObject);
    const auto [id, client] = read_asked(request, *object_id);
    ListAnswer answer{"Browse", filter, request, client};
    bool found = false;
    {
        StoreLock lock;
        const MediaObject* const object = tree_object(lock, db_map_browse_id(lock, id));
        found = object != nullptr;
        if (found) answer.append(lock, *object);
    }
    return found ? answer.send(request, response, 1) : soap_send_fault(request, response, kNoSuchObject);
}

HandlerResult cd_browse_by_letter(const HttpRequest& request, HttpResponse& response, const BrowseArguments& arguments,
                                  const Text& starting_letter) {
    if (!arguments.object_id) return soap_send_fault(request, response, kNoSuchObject);
    const auto [id, client] = read_asked(request, *arguments.object_id);
    const ListingOrder order = listing_order(arguments.sort_criteria);
    ListAnswer answer{"X_BrowseByLetter", arguments.filter, request, client};
    std::size_t start = 0, total = 0;
    Fault fault = kNone;
    {
        StoreLock lock;
        const WantedContainer wanted = find_container(lock, id);
        fault = wanted.fault;
        if (fault == kNone) {
            const Listing listing = listing_sorted_children(lock, *wanted.container, order);
            total = listing->size();
            start = listing_find_letter(lock, *wanted.container, order, *listing, text_or_empty(starting_letter));
            answer.append_window(lock, *listing, static_cast<std::int32_t>(start), arguments.requested_count);
        }
    }
    if (fault != kNone) return soap_send_fault(request, response, fault);
    return answer.send(request, response, total,
                       text_format(64, "<StartingIndex>%d</StartingIndex>", static_cast<int>(start)));
}

HandlerResult cd_search(const HttpRequest& request, HttpResponse& response, const BrowseArguments& arguments,
                        const Text& search_criteria) {
    if (!arguments.object_id) return soap_send_fault(request, response, kNoSuchObject);
    const auto [id, client] = read_asked(request, *arguments.object_id);
    std::string text = search_text(*client.profile, search_criteria);
    std::optional<SearchCriteria> criteria = search_compile(text);
    if (!criteria) return soap_send_fault(request, response, kBadSearchCriteria);
    const SearchQuery query{.text = std::move(text),
                            .criteria = std::move(*criteria),
                            .each_title_once = client.profile->wants_each_title_once,
                            .order = listing_order(arguments.sort_criteria)};
    ListAnswer answer{"Search", arguments.filter, request, client};
    std::size_t total = 0;
    {
        StoreLock lock;
        // Kept on purpose: a Search always covers the whole tree. Its ContainerID only has one effect: a list of played
        // tracks is filled.
        db_map_browse_id(lock, id);
        const Listing listing = listing_search(lock, query);
        total = listing->size();
        answer.append_window(lock, *listing, arguments.starting_index, arguments.requested_count);
    }
    return answer.send(request, response, total);
}

HandlerResult cd_get_search_capabilities(const HttpRequest& request, HttpResponse& response) {
    std::string_view capabilities =
        "dc:source,dc:title,dc:creator,upnp:artist,upnp:genre,upnp:album,dc:date,upnp:originalTrackNumber,upnp:class,"
        "@id,@parentID,@refID,res,upnp:albumArtURI";
    const std::string_view of_client = request.client.profile->search_capabilities;
    if (!of_client.empty()) capabilities = of_client;
    if (settings_get_bool(Setting::nosearch)) capabilities = "";
    return send_short_answer(request, response, "GetSearchCapabilities",
                             str_concat("<SearchCaps>", str_concat(capabilities, "</SearchCaps>")));
}

HandlerResult cd_get_sort_capabilities(const HttpRequest& request, HttpResponse& response) {
    return send_short_answer(request, response, "GetSortCapabilities",
                             "<SortCaps>dc:title,dc:creator,upnp:artist,upnp:genre,upnp:album,dc:date,"
                             "upnp:originalTrackNumber,res</SortCaps>");
}

HandlerResult cd_get_system_update_id(const HttpRequest& request, HttpResponse& response) {
    return send_short_answer(request, response, "GetSystemUpdateID",
                             text_format(32, "<Id>%u</Id>", static_cast<unsigned>(db_system_update_id())));
}

HandlerResult cd_update_object(const HttpRequest& request, HttpResponse& response, const XmlNode* body) {
    constexpr const char* kAnswer =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
        "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
        "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\r\n<s:Body>\r\n%s</s:Body>\r\n</s:Envelope>";
    constexpr const char* kResponse =
        "<u:UpdateObjectResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\" />\r\n";

    // Each tag value is an XML fragment ("<title>Old</title>") that was sent as escaped text.
    const auto fragment = [&](std::string_view argument) {
        return xml_parse(xml_unescape(text_or_empty(xml_get_text(body, argument))));
    };
    const auto current = fragment("CurrentTagValue"), wanted = fragment("NewTagValue");
    if (current == nullptr && wanted == nullptr) return soap_send_fault(request, response, kBadArguments);
    const Text field = current != nullptr ? Text{current->name} : std::nullopt;
    const auto value = [&](const XmlNode* node) { return field ? xml_get_text(node, *field) : std::nullopt; };
    const int status =
        db_update_object(xml_get_text(body, "ObjectID"), field, value(current.get()), value(wanted.get()));
    if (status != 200) return soap_send_fault(request, response, status);
    return soap_send_document(request, response, text_format(400, kAnswer, kResponse));
}
