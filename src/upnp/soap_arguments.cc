#include "upnp/soap_arguments.h"
#include <string_view>

#include "core/str.h"
#include "core/xml.h"
#include "upnp/content_directory.h"

std::string_view soap_action_of(std::string_view header) {
    constexpr std::string_view kName = "SOAPACTION";
    if (const auto action = str_after(header, kName)) return *action;
    return str_after_nocase(header, kName).value_or("");
}

BrowseArguments soap_browse_arguments(const XmlNode* body, std::string_view object_name) {
    return {.object_id = xml_get_text(body, object_name),
            .filter = xml_get_text(body, "Filter"),
            .starting_index = xml_get_int(body, "StartingIndex"),
            .requested_count = xml_get_int(body, "RequestedCount"),
            .sort_criteria = xml_get_text(body, "SortCriteria")};
}
