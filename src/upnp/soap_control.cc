#include "upnp/soap_control.h"

#include <array>
#include <memory>

#include "core/str.h"
#include "core/xml.h"
#include "http/request.h"
#include "upnp/connection_manager.h"
#include "upnp/content_directory.h"
#include "upnp/soap.h"
#include "upnp/soap_arguments.h"

namespace {

constexpr int kInvalidAction = 401;
constexpr int kInvalidArgs = 402;
constexpr int kNotImplemented = 602;

using Action = HandlerResult (*)(const HttpRequest& request, HttpResponse& response, const XmlNode* body);

// An action that needs nothing of the body.
template <HandlerResult (*answer)(const HttpRequest&, HttpResponse&)>
HandlerResult without_arguments(const HttpRequest& request, HttpResponse& response, const XmlNode*) {
    return answer(request, response);
}

HandlerResult not_implemented(const HttpRequest& request, HttpResponse& response, const XmlNode*) {
    return soap_send_fault(request, response, kNotImplemented);
}

// children answers BrowseDirectChildren; BrowseMetadata is the same for both actions.
HandlerResult browse_by_flag(const HttpRequest& request, HttpResponse& response, const XmlNode* body, Action children) {
    const Text flag = xml_get_text(body, "BrowseFlag");
    if (flag == "BrowseDirectChildren") return children(request, response, body);
    if (flag != "BrowseMetadata") return soap_send_fault(request, response, kInvalidArgs);
    return cd_browse_metadata(request, response, xml_get_text(body, "ObjectID"), xml_get_text(body, "Filter"));
}

HandlerResult direct_children(const HttpRequest& request, HttpResponse& response, const XmlNode* body) {
    return cd_browse_direct_children(request, response, soap_browse_arguments(body, "ObjectID"));
}

HandlerResult children_by_letter(const HttpRequest& request, HttpResponse& response, const XmlNode* body) {
    return cd_browse_by_letter(request, response, soap_browse_arguments(body, "ObjectID"),
                               xml_get_text(body, "StartingLetter"));
}

HandlerResult browse(const HttpRequest& request, HttpResponse& response, const XmlNode* body) {
    return browse_by_flag(request, response, body, direct_children);
}

HandlerResult x_browse_by_letter(const HttpRequest& request, HttpResponse& response, const XmlNode* body) {
    return browse_by_flag(request, response, body, children_by_letter);
}

HandlerResult search_tree(const HttpRequest& request, HttpResponse& response, const XmlNode* body) {
    return cd_search(request, response, soap_browse_arguments(body, "ContainerID"),
                     xml_get_text(body, "SearchCriteria"));
}

// Kept on purpose: a request without its Direction gets another fault than a complete one, though neither is served.
HandlerResult prepare_for_connection(const HttpRequest& request, HttpResponse& response, const XmlNode* body) {
    return soap_send_fault(request, response, xml_get_text(body, "Direction") ? kNotImplemented : kInvalidArgs);
}

struct ActionRow {
    std::string_view name;
    Action answer;
};

// In order: the first name that occurs anywhere after SOAPACTION decides.
constexpr auto kActions = std::to_array<ActionRow>({
    {"ContentDirectory:1#GetSearchCapabilities", without_arguments<cd_get_search_capabilities>},
    {"ContentDirectory:1#GetSortCapabilities", without_arguments<cd_get_sort_capabilities>},
    {"ContentDirectory:1#GetSystemUpdateID", without_arguments<cd_get_system_update_id>},
    {"ContentDirectory:1#X_BrowseByLetter", x_browse_by_letter},
    {"ContentDirectory:1#Browse", browse},
    {"ContentDirectory:1#Search", search_tree},
    {"ContentDirectory:1#CreateObject", not_implemented},
    {"ContentDirectory:1#DestroyObject", not_implemented},
    {"ContentDirectory:1#UpdateObject", cd_update_object},
    {"ContentDirectory:1#ImportResource", not_implemented},
    {"ContentDirectory:1#ExportResource", not_implemented},
    {"ContentDirectory:1#StopTransferResource", not_implemented},
    {"ContentDirectory:1#GetTransferProgress", not_implemented},
    {"ContentDirectory:1#DeleteResource", not_implemented},
    {"ContentDirectory:1#CreateReference", not_implemented},
    {"ConnectionManager:1#GetProtocolInfo", without_arguments<cm_get_protocol_info>},
    {"ConnectionManager:1#PrepareForConnection", prepare_for_connection},
    {"ConnectionManager:1#ConnectionComplete", not_implemented},
    {"ConnectionManager:1#GetCurrentConnectionIDs", without_arguments<cm_get_current_connection_ids>},
    {"ConnectionManager:1#GetCurrentConnectionInfo", without_arguments<cm_get_current_connection_info>},
});

}  // namespace

HandlerResult handle_soap_control(const HttpRequest& request, HttpResponse& response) {
    const std::string_view action = soap_action_of(request.header);
    const std::unique_ptr<XmlNode> body = xml_parse(request.content);
    for (const ActionRow& row : kActions)
        if (str_contains(action, row.name)) return row.answer(request, response, body.get());
    return soap_send_fault(request, response, kInvalidAction);
}
