// The XML reader and the decoding and escaping of its texts, on anything.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/bytes.h"
#include "upnp/xml.h"
#include "upnp/xml_escape.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view document = as_text(std::as_bytes(std::span{data, size}));
    const auto root = xml_parse(document);
    for (const XmlNode* node = root.get(); node != nullptr; node = xml_find_next(node, "entry")) {
        xml_get_text(node, "Name");
        xml_get_int(node, "Bitrate");
        xml_get_attribute(node, "Playstring");
        // What was read lies within the document.
        if (node->name.size() + text_or_empty(node->text).size() > size) __builtin_trap();
    }
    for (const ReceiverText receiver : {ReceiverText::utf8, ReceiverText::single_bytes}) {
        const Text escaped = xml_escape_for(document, receiver);
        if (escaped && (escaped->size() > 1021 || escaped->find_first_of("<>") != std::string::npos)) __builtin_trap();
    }
    if (xml_unescape(document).size() > size) __builtin_trap();
    return 0;
}
