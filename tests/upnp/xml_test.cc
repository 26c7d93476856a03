#include "core/xml.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// A tree in one line: name{attribute=value ...}'text'[children].
std::string shown(const XmlNode* node) {
    std::string out;
    for (; node != nullptr; node = node->next.get()) {
        if (!out.empty()) out += ' ';
        out += node->name;
        for (const XmlAttribute& attribute : node->attributes)
            out.append("{").append(attribute.name).append("=").append(attribute.value).append("}");
        if (node->text) out.append("'").append(*node->text).append("'");
        if (node->first_child) out.append("[").append(shown(node->first_child.get())).append("]");
    }
    return out;
}

std::string repeated(std::string_view text, std::size_t times) {
    std::string out;
    while (times-- > 0) out += text;
    return out;
}

std::size_t depth_of(const XmlNode* node) {
    return node == nullptr ? 0 : 1 + depth_of(node->first_child.get());
}

TEST(Xml, IsReadForgivingly) {
    struct {
        const char *document, *tree;  // "none": no element
    } constexpr kCases[] = {
        {"<?xml version=\"1.0\"?><a>x &amp;lt; y</a>", "a'x &lt; y'"},
        {"<a> t <b>1</b><d/><b>2</b> u </a>", "a[b'1' d b'2']"},
        {"<a></a>", "a''"},
        {"<a>\r\n 1\t</a>", "a'\r\n 1\t'"},
        {"<s:E xmlns:s=\"u/v\"><u:B/></s:E>", "s:E{xmlns:s=u/v}[u:B]"},
        {"<a one=\"1\"  two = \"2 >/\" />", "a{two =2 >/}{one=1}"},
        {"<a one=\"1\"\n    two=\"2\">x</a>", "a{two=2}{one=1}'x'"},
        {"<a b='1 2=3'>x</a>", "a{2=3'}{b='1}'x'"},
        {"<a b=http://c>x</a>", "a{b=http:}"},
        {"<a b=x\"y\"z\"w\">t</a>", "a{b=y}'t'"},
        {"<a b=\"&amp;\"/>", "a{b=&amp;}"},
        {"<a b>x</a>", "a"},
        {"<r><a>1</ab><c>2</c></r>", "r[a'1' c'2']"},
        {"<r><a>5\" disc</a><b>\"x</b></r>", "r[a'5\" disc</a><b>\"x']"},
        {"<r><a>5\" disc</a></r>", "r[a]"},
        {"</a>", ""},
        {"<a>x&#0;y</a>", "a'x'"},
        {"<?xml?><?pi ?>", "none"},
        {"<a><b>1</b><c", "a[b'1']"},
        {"<a><c d=\"e", "a[c{d=\"e}]"},
        {"<a><b>1</b><c>2", "a[b'1' c]"},
        {"<>x</>", "'x'"},
    };
    for (const auto& row : kCases) {
        const auto root = xml_parse(row.document);
        EXPECT_EQ(root ? shown(root.get()) : "none", row.tree) << row.document;
    }
    using namespace std::string_view_literals;
    EXPECT_EQ(shown(xml_parse("<a><b>1</b>\0<c>2</c></a>"sv).get()), "a[b'1']") << "the first NUL ends it";
}

TEST(Xml, SearchesInDocumentOrder) {
    const auto root = xml_parse("<a><b>1</b><d><b>2</b></d><n>-12px</n><d x=\"1\" y=\"2\"/></a>");
    const XmlNode* const first = xml_find(root.get(), "b");
    EXPECT_EQ(xml_get_text(root.get(), "b"), "1");
    EXPECT_EQ(xml_get_text(xml_find_next(first, "b"), "b"), "2");
    const XmlNode* const d = xml_find(root.get(), "d");
    EXPECT_EQ(xml_find_below(d, "n"), nullptr);
    EXPECT_EQ(xml_get_int(d, "n"), -12);

    const XmlNode* const second = xml_find_next(d, "d");
    EXPECT_EQ(xml_get_attribute(second, "x"), "1");
    EXPECT_EQ(xml_get_attribute(second, ""), "2");
    EXPECT_EQ(xml_get_attribute(second, "z"), std::nullopt);

    EXPECT_EQ(xml_find(root.get(), "B"), nullptr);
    EXPECT_EQ(xml_get_text(root.get(), "d"), std::nullopt);
}

TEST(Xml, ReadsOverWhatIsTooDeep) {
    const std::string deep = repeated("<e>", 100'000);
    const auto well_formed = xml_parse("<r>" + deep + "x" + repeated("</e>", 100'000) + "<after>1</after></r>");
    EXPECT_EQ(depth_of(well_formed.get()), kXmlDepth);
    EXPECT_EQ(xml_get_text(well_formed.get(), "after"), "1");
    EXPECT_EQ(depth_of(xml_parse(deep + "<cut").get()), kXmlDepth);
    const auto exactly = xml_parse(repeated("<e>", kXmlDepth - 1) + "<last>1</last>");
    EXPECT_EQ(xml_get_text(exactly.get(), "last"), "1");
}

}  // namespace
