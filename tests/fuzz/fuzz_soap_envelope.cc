// A control request as a peer may send it: the first line is its header, the rest its body.
#include <algorithm>

#include "core/xml.h"
#include "core/xml_escape.h"
#include "target.h"
#include "upnp/soap_arguments.h"

void fuzz(Bytes input) {
    const std::string_view request = as_text(input);
    const std::size_t line_end = std::min(request.find('\n'), request.size());
    soap_action_of(request.substr(0, line_end));

    const auto body = xml_parse(request.substr(line_end));
    for (const char* object_name : {"ObjectID", "ContainerID"}) {
        const BrowseArguments arguments = soap_browse_arguments(body.get(), object_name);
        // No argument can hold a NUL, which ends texts further in, nor be longer than what came.
        require_no_nul({&arguments.object_id, &arguments.filter, &arguments.sort_criteria});
        for (const Text& text : {arguments.object_id, arguments.filter, arguments.sort_criteria})
            require(!text || text->size() <= input.size());
    }
    // UpdateObject reads the fragments in its arguments once more.
    for (const char* name : {"CurrentTagValue", "NewTagValue"})
        xml_parse(xml_unescape(text_or_empty(xml_get_text(body.get(), name))));
}
