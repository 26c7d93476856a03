// The forgiving XML reader, and the decoding and escaping of its texts.
#include <gtest/gtest.h>
#include <string>

#include "core/xml.h"
#include "core/xml_escape.h"
#include "support/rows.h"

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
    for (const auto& [document, tree] : Rows<const char*, const char*>{
             {"<?xml version=\"1.0\"?><a>x &amp;lt; y</a>", "a'x &lt; y'"},
             {"<a> t <b>1</b><d/><b>2</b> u </a>", "a[b'1' d b'2']"},
             {"<a></a>", "a''"},
             {"<a>\r\n 1\t</a>", "a'\r\n 1\t'"},
             {"<s:E xmlns:s=\"u/v\"><u:B/></s:E>", "s:E{xmlns:s=u/v}[u:B]"},
             {"<a one=\"1\"  two = \"2 >/\" />", "a{two =2 >/}{one=1}"},
             {"<a b='1 2=3'>x</a>", "a{2=3'}{b='1}'x'"},
             {"<a b=http://c>x</a>", "a{b=http:}"},
             {"<a b=x\"y\"z\"w\">t</a>", "a{b=y}'t'"},
             {"<a b=\"&amp;\"/>", "a{b=&amp;}"},
             {"<a b>x</a>", "a"},
             {"<r><a>1</ab><c>2</c></r>", "r[a'1' c'2']"},
             {"<r><a>5\" disc</a><b>\"x</b></r>", "r[a'5\" disc</a><b>\"x']"},
             {"</a>", ""},
             {"<a>x&#0;y</a>", "a'x'"},
             {"<?xml?><?pi ?>", "none"},
             {"<a><b>1</b><c", "a[b'1']"},
             {"<a><c d=\"e", "a[c{d=\"e}]"},
             {"<a><b>1</b><c>2", "a[b'1' c]"},
             {"<>x</>", "'x'"},
         }) {
        const auto root = xml_parse(document);
        EXPECT_EQ(root ? shown(root.get()) : "none", tree) << document;
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

using Rows = std::initializer_list<std::pair<const char*, Text>>;

TEST(XmlEscape, DecodesOnce) {
    for (const auto& [text, expected] : Rows{
             {"&amp;&lt;&gt;&apos;&quot;&nbsp;.", "&<>'\" ."},
             {"&amp;lt; &amp;amp;", "&lt; &amp;"},
             {"&AMP;&#65;&#x4a;", "&AMP;AJ"},
             {"&#321;", "A"},
             {"&#233;&#xE9;\xC3\xA9", "\xC3\xA9\xC3\xA9\xC3\xA9"},
             {"&#x2h;", "1"},
             {"a&#X41;b", "a"},
             {"&#0065;", "A"},
             {"&#00065;", "&#00065;"},
             {"&#65 &amp", "&#65 &amp"},
             {"ab&#0;cd", "ab"},
         })
        EXPECT_EQ(xml_unescape(text), expected) << text;
}

TEST(XmlEscape, DoublesAndConvertsAsAsked) {
    EXPECT_EQ(xml_escape_double("a<b>&\"'", HighBytes::copy), "a&amp;lt;b&amp;gt;&amp;amp;\"'");
    EXPECT_EQ(xml_escape_double("\t\x1F ", HighBytes::copy), "&amp;#9;&amp;#31; ");
    EXPECT_EQ(xml_escape_double("\xE9\x80\xBF\xC0\xFF", HighBytes::convert),
              "\xC3\xA9\xC2\x80\xC2\xBF\xC3\x80\xC3\xBF");
    EXPECT_EQ(xml_escape_double("", HighBytes::convert), std::nullopt);
    // Fails where the result is too long.
    EXPECT_TRUE(xml_escape_double(std::string(1021, 'x'), HighBytes::copy));
    EXPECT_EQ(xml_escape_double(std::string(1022, 'x'), HighBytes::copy), std::nullopt);
    EXPECT_EQ(xml_escape_double(std::string(511, '\xE9'), HighBytes::convert), std::nullopt);
}

TEST(XmlEscape, NeverConvertsTwiceAndIsAlwaysLegal) {
    for (const auto& [text, expected] : Rows{
             {"Bj\xC3\xB6rk & \xE2\x82\xAC", "Bj\xC3\xB6rk &amp;amp; \xE2\x82\xAC"},
             {"\xC3\xB6 \xF6", "\xC3\x83\xC2\xB6 \xC3\xB6"},
             {"a\tb\r\n", "a&amp;#9;b&amp;#13;&amp;#10;"},
             {"a\x01\x1B\x1F z", "a z"},
             {"a\xEF\xBF\xBE\xEF\xBF\xBF\xEF\xBF\xBDz", "a\xEF\xBF\xBDz"},
             {"\x01\x02", std::nullopt},
         })
        EXPECT_EQ(xml_escape_for(text, ClientText::utf8), expected) << text;
    EXPECT_EQ(xml_escape_for("Bj\xC3\xB6rk <\xE2\x82\xAC\x01>", ClientText::single_bytes),
              "Bj\xF6rk &amp;lt;?&amp;gt;");
    EXPECT_EQ(xml_escape_for("Bj\xF6rk", ClientText::single_bytes), "Bj\xF6rk");
}

}  // namespace
