#include "core/xml_escape.h"

#include <gtest/gtest.h>

#include <string>

namespace {

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
        EXPECT_EQ(xml_escape_for(text, ReceiverText::utf8), expected) << text;
    EXPECT_EQ(xml_escape_for("Bj\xC3\xB6rk <\xE2\x82\xAC\x01>", ReceiverText::single_bytes),
              "Bj\xF6rk &amp;lt;?&amp;gt;");
    EXPECT_EQ(xml_escape_for("Bj\xF6rk", ClientText::single_bytes), "Bj\xF6rk");
}

}  // namespace
