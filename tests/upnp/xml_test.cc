#include "upnp/xml.h"

#include <gtest/gtest.h>

#include <string>

#include "core/settings.h"

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
    out.reserve(text.size() * times);
    while (times-- > 0) out += text;
    return out;
}

std::size_t depth_of(const XmlNode* node) {
    std::size_t depth = 0;
    for (; node != nullptr; node = node->first_child.get()) ++depth;
    return depth;
}

struct TreeCase {
    const char* name;
    const char* document;
    const char* tree;  // "none": no element
};
std::string name_of(const testing::TestParamInfo<TreeCase>& info) {
    return info.param.name;
}
class XmlTree : public testing::TestWithParam<TreeCase> {};

}  // namespace

TEST_P(XmlTree, IsReadForgivingly) {
    const auto root = xml_parse(GetParam().document);
    EXPECT_EQ(root ? shown(root.get()) : "none", GetParam().tree);
}

INSTANTIATE_TEST_SUITE_P(
    Xml, XmlTree,
    testing::ValuesIn<TreeCase>({
        {"declaration_and_entities", "<?xml version=\"1.0\"?><a>x &amp;lt; y</a>", "a'x &lt; y'"},
        {"children_without_text", "<a> t <b>1</b><d/><b>2</b> u </a>", "a[b'1' d b'2']"},
        {"empty_text_is_there", "<a></a>", "a''"},
        {"white_space_stays", "<a>\r\n 1\t</a>", "a'\r\n 1\t'"},
        {"prefix_is_part_of_the_name", "<s:E xmlns:s=\"u/v\"><u:B/></s:E>", "s:E{xmlns:s=u/v}[u:B]"},
        {"only_the_first_element", "x <a>1</a><b>2</b>", "a'1'"},
        {"attributes_last_first", "<a one=\"1\"  two = \"2 >/\" />", "a{two =2 >/}{one=1}"},
        {"attributes_across_lines", "<a one=\"1\"\n    two=\"2\">x</a>", "a{two=2}{one=1}'x'"},
        {"single_quotes_stay", "<a b='1'>x</a>", "a{b='1'}'x'"},
        {"single_quotes_hold_no_blank", "<a b='1 2=3'>x</a>", "a{2=3'}{b='1}'x'"},
        {"bare_value_ends_at_slash", "<a b=http://c>x</a>", "a{b=http:}"},
        {"value_between_first_two_quotes", "<a b=x\"y\"z\"w\">t</a>", "a{b=y}'t'"},
        {"attribute_values_are_not_decoded", "<a b=\"&amp;\"/>", "a{b=&amp;}"},
        {"name_without_value_runs_on", "<a b>x</a>", "a"},
        {"blank_before_bracket", "<a b=\"1\"  >x</a>", "a{b=1}'x'"},
        {"end_tag_by_prefix", "<r><a>1</ab><c>2</c></r>", "r[a'1' c'2']"},
        {"wrong_end_tag", "<r><a>1</b><c>2</c></r>", "r[a'1' c'2']"},
        {"odd_quote_hides_the_end_tag", "<r><a>5\" disc</a><b>\"x</b></r>", "r[a'5\" disc</a><b>\"x']"},
        {"odd_quote_to_the_end", "<r><a>5\" disc</a></r>", "r[a]"},
        {"end_tag_first_has_no_name", "</a>", ""},
        {"text_ends_at_a_nul_reference", "<a>x&#0;y</a>", "a'x'"},
        {"nothing", "", "none"},
        {"no_element", "a > b", "none"},
        {"lone_bracket", "<", "none"},
        {"only_instructions", "<?xml?><?pi ?>", "none"},
        {"name_cut", "<a><b>1</b><c", "a[b'1']"},
        {"attribute_name_cut", "<a><b>1</b><c d", "a[b'1' c]"},
        {"attribute_value_cut", "<a><c d=\"e", "a[c{d=\"e}]"},
        {"content_cut", "<a><b>1</b><c>2", "a[b'1' c]"},
        {"end_tags_cut", "<a><b><c>1</c>", "a[b[c'1']]"},
        {"nameless", "<>x</>", "'x'"},
    }),
    name_of);

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
    EXPECT_EQ(xml_find_next(nullptr, "b"), nullptr);
    EXPECT_EQ(xml_get_text(root.get(), "d"), std::nullopt);
    EXPECT_EQ(xml_get_int(nullptr, "b"), 0);
    EXPECT_EQ(xml_get_attribute(nullptr, ""), std::nullopt);
}

TEST(Xml, EndsAtTheFirstNul) {
    using namespace std::string_view_literals;
    EXPECT_EQ(shown(xml_parse("<a><b>1</b>\0<c>2</c></a>"sv).get()), "a[b'1']");
}

TEST(Xml, ReadsOverWhatIsTooDeep) {
    const std::string deep = repeated("<e>", 100'000);
    const auto well_formed = xml_parse("<r>" + deep + "x" + repeated("</e>", 100'000) + "<after>1</after></r>");
    EXPECT_EQ(depth_of(well_formed.get()), kXmlDepth);
    EXPECT_EQ(xml_get_text(well_formed.get(), "after"), "1");
    EXPECT_EQ(depth_of(xml_parse(deep).get()), kXmlDepth);
    EXPECT_EQ(depth_of(xml_parse(deep + "<cut").get()), kXmlDepth);
    const auto exactly = xml_parse(repeated("<e>", kXmlDepth - 1) + "<last>1</last>");
    EXPECT_EQ(xml_get_text(exactly.get(), "last"), "1");
}

// Each of these takes hours, or the thread's stack, in a reader that looks twice.
TEST(Xml, TakesLinearTimeOnHostileInput) {
    const auto wide = xml_parse("<r>" + repeated("<e/>", 1'000'000) + "<last>1</last></r>");
    EXPECT_EQ(xml_get_text(wide.get(), "last"), "1");

    const std::string big(10'000'000, 'v');
    EXPECT_EQ(xml_get_attribute(xml_parse("<r a=\"" + big + "\"/>").get(), "a")->size(), big.size());
    EXPECT_EQ(xml_parse(repeated("<e>", 1'000) + "<" + big)->first_child->name, "e");
    EXPECT_EQ(xml_get_text(xml_parse("<r>" + repeated("&amp;", 1'000'000) + "</r>").get(), "r")->size(), 1'000'000u);
    EXPECT_EQ(xml_parse("<r" + repeated(" a=\"\"", 1'000'000) + ">")->attributes.size(), 1'000'000u);
    EXPECT_EQ(xml_parse(repeated("<a \"", 1'000'000))->name, "a");
    EXPECT_EQ(xml_parse(repeated("<?", 1'000'000)), nullptr);
    EXPECT_NE(xml_parse(repeated("<a></", 500'000)), nullptr);
}

TEST(Xml, LogsAWrongEndTagOnlyOnRequest) {
    settings_set(Setting::v, "0");
    testing::internal::CaptureStdout();
    xml_parse("<a>1</b>");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    settings_set(Setting::v, "256");
    testing::internal::CaptureStdout();
    xml_parse("<a>1</ab>");
    xml_parse("<a>1</b>");
    const std::string logged = testing::internal::GetCapturedStdout();
    settings_free_all();
    EXPECT_TRUE(logged.ends_with("XML PARSER:bad end tag!\na\n")) << logged;
    EXPECT_EQ(logged.find("bad end tag"), logged.rfind("bad end tag"));
}
