// A small, forgiving, non-validating XML reader for SOAP bodies, station lists and playlists. No namespaces (a prefixed
// name is just a name), no comments, no CDATA, no DTD, attribute values are not decoded. Malformed input never stops
// it: it returns what it built. A double quote, in content as well as in a tag, hides what follows up to the next one.
//
// Time is linear in the input whatever it holds, and nothing here recurses deeper than kXmlDepth: elements below that
// are read over. Trees share nothing, so any thread may parse, search and free its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/str.h"

constexpr std::size_t kXmlDepth = 200;  // levels that are kept, the root being the first

struct XmlAttribute {
    std::string name;   // with the blanks that stand before its "="
    std::string value;  // what stands between the first pair of double quotes, everything where there is none
};

struct XmlNode {
    std::string name;                      // as written, prefix included
    Text text;                             // decoded; only for an element whose content is text alone
    std::vector<XmlAttribute> attributes;  // most recently parsed first
    std::unique_ptr<XmlNode> next;         // sibling
    std::unique_ptr<XmlNode> first_child;

    XmlNode() = default;
    ~XmlNode();  // without recursion along the siblings
    XmlNode(const XmlNode&) = delete;
    XmlNode& operator=(const XmlNode&) = delete;
};

// The first element of the document, which ends at its first NUL; null when none is found.
std::unique_ptr<XmlNode> xml_parse(std::string_view document);

// Depth first, the node itself first, then its children, then its next siblings; exact names. Null nodes find nothing.
const XmlNode* xml_find(const XmlNode* node, std::string_view name);
// The same begun at the node's next sibling.
const XmlNode* xml_find_next(const XmlNode* node, std::string_view name);
// The same without the node's siblings: what one entry of a list holds, never what a later one does.
const XmlNode* xml_find_below(const XmlNode* node, std::string_view name);

// The text of the element that xml_find returns.
Text xml_get_text(const XmlNode* node, std::string_view name);
// Its leading integer; 0 where the element or its text is missing.
std::int32_t xml_get_int(const XmlNode* node, std::string_view name);
// The first attribute in the node's list with that exact name; an empty name gives the first in the list.
Text xml_get_attribute(const XmlNode* node, std::string_view name);
