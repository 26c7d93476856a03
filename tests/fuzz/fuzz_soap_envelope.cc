// A control request as a peer may send it: the first line is its header, the rest its body.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/bytes.h"
#include "upnp/soap_arguments.h"
#include "upnp/xml.h"
#include "upnp/xml_escape.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view request = as_text(std::as_bytes(std::span{data, size}));
    const std::size_t line_end = std::min(request.find('\n'), request.size());
    soap_action_of(request.substr(0, line_end));

    const auto body = xml_parse(request.substr(line_end));
    for (const char* object_name : {"ObjectID", "ContainerID"}) {
        const BrowseArguments arguments = soap_browse_arguments(body.get(), object_name);
        // No argument can hold a NUL, which ends texts further in, nor be longer than what came.
        for (const Text& text : {arguments.object_id, arguments.filter, arguments.sort_criteria})
            if (text && (text->size() > size || text->find('\0') != std::string::npos)) __builtin_trap();
    }
    // UpdateObject reads the fragments in its arguments once more.
    for (const char* name : {"CurrentTagValue", "NewTagValue"})
        xml_parse(xml_unescape(text_or_empty(xml_get_text(body.get(), name))));
    return 0;
}
