// The ContentDirectory:1 actions that read or change the content tree. soap_control takes the arguments out of the
// request's body and calls one of these; each sends its own answer or a fault. Missing arguments stay missing, missing
// numbers are 0. Called on the connection's thread without the store lock.
#pragma once

#include <cstdint>

#include "core/str.h"
#include "core/xml.h"
#include "http/request.h"

struct BrowseArguments {
    Text object_id = {};  // ObjectID; of a Search the ContainerID
    Text filter = {};
    std::int32_t starting_index = 0;   // X_BrowseByLetter has none
    std::int32_t requested_count = 0;  // 0: no limit
    Text sort_criteria = {};
};

HandlerResult cd_browse_direct_children(const HttpRequest& request, HttpResponse& response,
                                        const BrowseArguments& arguments);
HandlerResult cd_browse_metadata(const HttpRequest& request, HttpResponse& response, const Text& object_id,
                                 const Text& filter);
HandlerResult cd_browse_by_letter(const HttpRequest& request, HttpResponse& response, const BrowseArguments& arguments,
                                  const Text& starting_letter);
// search_criteria as the body held it: decoded once by the parser, and not yet the second time.
HandlerResult cd_search(const HttpRequest& request, HttpResponse& response, const BrowseArguments& arguments,
                        const Text& search_criteria);

HandlerResult cd_get_search_capabilities(const HttpRequest& request, HttpResponse& response);
HandlerResult cd_get_sort_capabilities(const HttpRequest& request, HttpResponse& response);
HandlerResult cd_get_system_update_id(const HttpRequest& request, HttpResponse& response);
// body is the root of the parsed request: ObjectID, CurrentTagValue and NewTagValue are looked for in it. May be null.
HandlerResult cd_update_object(const HttpRequest& request, HttpResponse& response, const XmlNode* body);
