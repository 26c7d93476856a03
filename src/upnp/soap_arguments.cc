#include "upnp/soap_arguments.h"

#include "core/str.h"

std::string_view soap_action_of(std::string_view header) {
    constexpr std::string_view kName = "SOAPACTION";
    std::size_t at = header.find(kName);
    if (at == std::string_view::npos) at = str_find_nocase(header, kName);
    return at == std::string_view::npos ? std::string_view{} : header.substr(at + kName.size());
}

BrowseArguments soap_browse_arguments(const XmlNode* body, std::string_view object_name) {
    return {.object_id = xml_get_text(body, object_name),
            .filter = xml_get_text(body, "Filter"),
            .starting_index = xml_get_int(body, "StartingIndex"),
            .requested_count = xml_get_int(body, "RequestedCount"),
            .sort_criteria = xml_get_text(body, "SortCriteria")};
}
