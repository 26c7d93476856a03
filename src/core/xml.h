// A small, forgiving, non-validating XML reader for SOAP bodies, station lists and playlists. It knows no namespaces (a
// prefixed name is just a name), comments, CDATA sections or DTDs, and does not decode attribute values. Malformed
// input does not stop it: it returns what it has built. Markup between two double quotes is not seen, in content as in
// a tag.
//
// The time is linear in the length of the input. No function recurses deeper than kXmlDepth: deeper elements are left
// out. Trees share nothing, so each thread may parse, search and free its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/str.h"

constexpr std::size_t kXmlDepth = 200;  // levels, the root included

struct XmlAttribute {
    std::string name;   // including the blanks before the "="
    std::string value;  // the text between the first two double quotes; all of it if there are none
};

struct XmlNode {
    std::string name;                      // as written, prefix included
    Text text;                             // decoded; only of an element that contains nothing but text
    std::vector<XmlAttribute> attributes;  // most recently parsed first
    std::unique_ptr<XmlNode> next;         // sibling
    std::unique_ptr<XmlNode> first_child;

    XmlNode() = default;
    ~XmlNode();  // without recursion along the siblings
    XmlNode(const XmlNode&) = delete;
    XmlNode& operator=(const XmlNode&) = delete;
};

// Returns the first element of the document, which ends at its first NUL; null if there is none.
std::unique_ptr<XmlNode> xml_parse(std::string_view document);

// Searches the node, then its children, then its next siblings, depth first, for that exact name. Returns null if no
// element has it or node is null.
const XmlNode* xml_find(const XmlNode* node, std::string_view name);
// The same, beginning at the node's next sibling.
const XmlNode* xml_find_next(const XmlNode* node, std::string_view name);
// The same without the node's siblings: searches one entry of a list and not the entries after it.
const XmlNode* xml_find_below(const XmlNode* node, std::string_view name);

// Returns the text of the element that xml_find finds.
Text xml_get_text(const XmlNode* node, std::string_view name);
// Returns the leading integer of that text; 0 if the element or its text is missing.
std::int32_t xml_get_int(const XmlNode* node, std::string_view name);
// Returns the first attribute in the node's list that has that exact name; the first of all if name is empty.
Text xml_get_attribute(const XmlNode* node, std::string_view name);
