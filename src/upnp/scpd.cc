#include "upnp/scpd.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/text_buffer.h"
#include "http/request.h"
#include "upnp/soap.h"

namespace {

enum class Direction { in, out };
enum class Evented { no, yes };

struct Argument {
    std::string_view name;
    Direction direction;
    std::string_view variable;  // the related state variable
};

struct ActionDescription {
    std::string_view name;
    std::span<const Argument> arguments;
};

struct StateVariable {
    std::string_view name;
    std::string_view type;
    Evented evented = Evented::no;
    std::span<const std::string_view> allowed = {};
};

constexpr auto in = Direction::in;
constexpr auto out = Direction::out;

// ContentDirectory:1

constexpr auto kGetSearchCapabilities = std::to_array<Argument>({{"SearchCaps", out, "SearchCapabilities"}});
constexpr auto kGetSortCapabilities = std::to_array<Argument>({{"SortCaps", out, "SortCapabilities"}});
constexpr auto kGetSystemUpdateId = std::to_array<Argument>({{"Id", out, "SystemUpdateID"}});
constexpr auto kBrowse = std::to_array<Argument>({
    {"ObjectID", in, "A_ARG_TYPE_ObjectID"},
    {"BrowseFlag", in, "A_ARG_TYPE_BrowseFlag"},
    {"Filter", in, "A_ARG_TYPE_Filter"},
    {"StartingIndex", in, "A_ARG_TYPE_Index"},
    {"RequestedCount", in, "A_ARG_TYPE_Count"},
    {"SortCriteria", in, "A_ARG_TYPE_SortCriteria"},
    {"Result", out, "A_ARG_TYPE_Result"},
    {"NumberReturned", out, "A_ARG_TYPE_Count"},
    {"TotalMatches", out, "A_ARG_TYPE_Count"},
    {"UpdateID", out, "A_ARG_TYPE_UpdateID"},
});
constexpr auto kSearch = std::to_array<Argument>({
    {"ContainerID", in, "A_ARG_TYPE_ObjectID"},
    {"SearchCriteria", in, "A_ARG_TYPE_SearchCriteria"},
    {"Filter", in, "A_ARG_TYPE_Filter"},
    {"StartingIndex", in, "A_ARG_TYPE_Index"},
    {"RequestedCount", in, "A_ARG_TYPE_Count"},
    {"SortCriteria", in, "A_ARG_TYPE_SortCriteria"},
    {"Result", out, "A_ARG_TYPE_Result"},
    {"NumberReturned", out, "A_ARG_TYPE_Count"},
    {"TotalMatches", out, "A_ARG_TYPE_Count"},
    {"UpdateID", out, "A_ARG_TYPE_UpdateID"},
});
constexpr auto kBrowseByLetter = std::to_array<Argument>({
    {"ObjectID", in, "A_ARG_TYPE_ObjectID"},
    {"BrowseFlag", in, "A_ARG_TYPE_BrowseFlag"},
    {"Filter", in, "A_ARG_TYPE_Filter"},
    {"StartingLetter", in, "A_ARG_TYPE_BrowseLetter"},
    {"RequestedCount", in, "A_ARG_TYPE_Count"},
    {"SortCriteria", in, "A_ARG_TYPE_SortCriteria"},
    {"Result", out, "A_ARG_TYPE_Result"},
    {"NumberReturned", out, "A_ARG_TYPE_Count"},
    {"TotalMatches", out, "A_ARG_TYPE_Count"},
    {"UpdateID", out, "A_ARG_TYPE_UpdateID"},
    {"StartingIndex", out, "A_ARG_TYPE_Index"},
});
constexpr auto kCreateObject = std::to_array<Argument>({
    {"ContainerID", in, "A_ARG_TYPE_ObjectID"},
    {"Elements", in, "A_ARG_TYPE_Result"},
    {"ObjectID", out, "A_ARG_TYPE_ObjectID"},
    {"Result", out, "A_ARG_TYPE_Result"},
});
constexpr auto kUpdateObject = std::to_array<Argument>({
    {"ObjectID", in, "A_ARG_TYPE_ObjectID"},
    {"CurrentTagValue", in, "A_ARG_TYPE_TagValueList"},
    {"NewTagValue", in, "A_ARG_TYPE_TagValueList"},
});

constexpr auto kContentDirectoryActions = std::to_array<ActionDescription>({
    {"GetSearchCapabilities", kGetSearchCapabilities},
    {"GetSortCapabilities", kGetSortCapabilities},
    {"GetSystemUpdateID", kGetSystemUpdateId},
    {"Browse", kBrowse},
    {"Search", kSearch},
    {"X_BrowseByLetter", kBrowseByLetter},
    {"CreateObject", kCreateObject},  // described, and answered as not implemented
    {"UpdateObject", kUpdateObject},
});

constexpr auto kBrowseFlags = std::to_array<std::string_view>({"BrowseMetadata", "BrowseDirectChildren"});

constexpr auto kContentDirectoryVariables = std::to_array<StateVariable>({
    {"A_ARG_TYPE_ObjectID", "string"},
    {"A_ARG_TYPE_Result", "string"},
    {"A_ARG_TYPE_SearchCriteria", "string"},
    {.name = "A_ARG_TYPE_BrowseFlag", .type = "string", .allowed = kBrowseFlags},
    {"A_ARG_TYPE_Filter", "string"},
    {"A_ARG_TYPE_SortCriteria", "string"},
    {"A_ARG_TYPE_Index", "ui4"},
    {"A_ARG_TYPE_Count", "ui4"},
    {"SearchCapabilities", "string"},
    {"SortCapabilities", "string"},
    {"SystemUpdateID", "ui4", Evented::yes},
    {"ContainerUpdateIDs", "string", Evented::yes},
    {"A_ARG_TYPE_UpdateID", "ui4"},
    {"A_ARG_TYPE_TagValueList", "string"},
    {"A_ARG_TYPE_BrowseLetter", "string"},
});

// ConnectionManager:1

constexpr auto kGetProtocolInfo = std::to_array<Argument>({
    {"Source", out, "SourceProtocolInfo"},
    {"Sink", out, "SinkProtocolInfo"},
});
constexpr auto kGetCurrentConnectionIds = std::to_array<Argument>({{"ConnectionIDs", out, "CurrentConnectionIDs"}});
constexpr auto kGetCurrentConnectionInfo = std::to_array<Argument>({
    {"ConnectionID", in, "A_ARG_TYPE_ConnectionID"},
    {"RcsID", out, "A_ARG_TYPE_RcsID"},
    {"AVTransportID", out, "A_ARG_TYPE_AVTransportID"},
    {"ProtocolInfo", out, "A_ARG_TYPE_ProtocolInfo"},
    {"PeerConnectionManager", out, "A_ARG_TYPE_ConnectionManager"},
    {"PeerConnectionID", out, "A_ARG_TYPE_ConnectionID"},
    {"Direction", out, "A_ARG_TYPE_Direction"},
    {"Status", out, "A_ARG_TYPE_ConnectionStatus"},
});

constexpr auto kConnectionManagerActions = std::to_array<ActionDescription>({
    {"GetProtocolInfo", kGetProtocolInfo},
    {"GetCurrentConnectionIDs", kGetCurrentConnectionIds},
    {"GetCurrentConnectionInfo", kGetCurrentConnectionInfo},
});

constexpr auto kConnectionStates = std::to_array<std::string_view>(
    {"OK", "ContentFormatMismatch", "InsufficientBandwidth", "UnreliableChannel", "Unknown"});
constexpr auto kDirections = std::to_array<std::string_view>({"Input", "Output"});

constexpr auto kConnectionManagerVariables = std::to_array<StateVariable>({
    {"SourceProtocolInfo", "string", Evented::yes},
    {"SinkProtocolInfo", "string", Evented::yes},
    {"CurrentConnectionIDs", "string", Evented::yes},
    {.name = "A_ARG_TYPE_ConnectionStatus", .type = "string", .allowed = kConnectionStates},
    {"A_ARG_TYPE_ConnectionManager", "string"},
    {.name = "A_ARG_TYPE_Direction", .type = "string", .allowed = kDirections},
    {"A_ARG_TYPE_ProtocolInfo", "string"},
    {"A_ARG_TYPE_ConnectionID", "i4"},
    {"A_ARG_TYPE_AVTransportID", "i4"},
    {"A_ARG_TYPE_RcsID", "i4"},
});

// A control point drops a service whose arguments name a variable that is not there, or whose outputs come before
// inputs.
constexpr bool arguments_fit(std::span<const ActionDescription> actions, std::span<const StateVariable> variables) {
    for (const ActionDescription& action : actions) {
        if (!std::ranges::is_sorted(action.arguments, {}, &Argument::direction)) return false;
        for (const Argument& argument : action.arguments)
            if (std::ranges::find(variables, argument.variable, &StateVariable::name) == variables.end()) return false;
    }
    return true;
}
static_assert(arguments_fit(kContentDirectoryActions, kContentDirectoryVariables));
static_assert(arguments_fit(kConnectionManagerActions, kConnectionManagerVariables));

void append_action(TextBuffer& document, const ActionDescription& action) {
    document.append("<action>\n<name>").append(action.name).append("</name>\n<argumentList>\n");
    for (const Argument& argument : action.arguments) {
        document.append("<argument><name>").append(argument.name);
        document.append("</name><direction>").append(argument.direction == in ? "in" : "out");
        document.append("</direction><relatedStateVariable>").append(argument.variable);
        document.append("</relatedStateVariable></argument>\n");
    }
    document.append("</argumentList>\n</action>\n");
}

void append_variable(TextBuffer& document, const StateVariable& variable) {
    document.append("<stateVariable sendEvents=\"").append(variable.evented == Evented::yes ? "yes" : "no");
    document.append("\"><name>").append(variable.name);
    document.append("</name><dataType>").append(variable.type).append("</dataType>");
    if (!variable.allowed.empty()) {
        document.append("\n<allowedValueList>\n");
        for (const std::string_view value : variable.allowed)
            document.append("<allowedValue>").append(value).append("</allowedValue>\n");
        document.append("</allowedValueList>\n");
    }
    document.append("</stateVariable>\n");
}

std::string scpd_document(std::span<const ActionDescription> actions, std::span<const StateVariable> variables) {
    TextBuffer document{
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<scpd xmlns=\"urn:schemas-upnp-org:service-1-0\">\n"
        "<specVersion><major>1</major><minor>0</minor></specVersion>\n"
        "<actionList>\n",
        10'000};
    for (const ActionDescription& action : actions) append_action(document, action);
    document.append("</actionList>\n<serviceStateTable>\n");
    for (const StateVariable& variable : variables) append_variable(document, variable);
    document.append("</serviceStateTable>\n</scpd>\n");
    return std::move(document).take();
}

struct Documents {
    const std::string content_directory = scpd_document(kContentDirectoryActions, kContentDirectoryVariables);
    const std::string connection_manager = scpd_document(kConnectionManagerActions, kConnectionManagerVariables);
};

HandlerResult serve(const HttpRequest& request, HttpResponse& response, std::string_view document) {
    log_message(LOG_INFO, LOG_HTTP, "setting MIME TYPE!\n");
    return soap_send_document(request, response, document);
}

}  // namespace

std::string_view content_directory_scpd() {
    return process_wide<Documents>().content_directory;
}

std::string_view connection_manager_scpd() {
    return process_wide<Documents>().connection_manager;
}

HandlerResult handle_cd_scpd(const HttpRequest& request, HttpResponse& response) {
    return serve(request, response, content_directory_scpd());
}

HandlerResult handle_cm_scpd(const HttpRequest& request, HttpResponse& response) {
    return serve(request, response, connection_manager_scpd());
}
