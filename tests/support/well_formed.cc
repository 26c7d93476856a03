#include "support/well_formed.h"

#include <expat.h>

#include <memory>

namespace {

using Parser = std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)>;

std::string parse(XML_Parser parser, std::string_view document) {
    if (XML_Parse(parser, document.data(), static_cast<int>(document.size()), XML_TRUE) == XML_STATUS_OK) return {};
    return std::string{XML_ErrorString(XML_GetErrorCode(parser))} + " at byte " +
           std::to_string(XML_GetCurrentByteIndex(parser));
}

struct Wanted {
    std::string_view element;
    enum { before, inside, behind } state = before;
    std::string text = {};
};

}  // namespace

std::string xml_fault(std::string_view document) {
    const Parser parser{XML_ParserCreate(nullptr), XML_ParserFree};
    return parse(parser.get(), document);
}

std::string xml_text_in(std::string_view document, std::string_view element) {
    const Parser parser{XML_ParserCreate(nullptr), XML_ParserFree};
    Wanted wanted{.element = element};
    XML_SetUserData(parser.get(), &wanted);
    XML_SetElementHandler(
        parser.get(),
        [](void* data, const XML_Char* name, const XML_Char**) {
            auto& seen = *static_cast<Wanted*>(data);
            if (seen.state == Wanted::before && seen.element == name) seen.state = Wanted::inside;
        },
        [](void* data, const XML_Char* name) {
            auto& seen = *static_cast<Wanted*>(data);
            if (seen.state == Wanted::inside && seen.element == name) seen.state = Wanted::behind;
        });
    XML_SetCharacterDataHandler(parser.get(), [](void* data, const XML_Char* text, int length) {
        auto& seen = *static_cast<Wanted*>(data);
        if (seen.state == Wanted::inside) seen.text.append(text, static_cast<std::size_t>(length));
    });
    return parse(parser.get(), document).empty() ? wanted.text : std::string{};
}
