#include "upnp/content_directory.h"

#include <gmock/gmock.h>

#include <functional>

#include "support/handler_call.h"
#include "support/store_fixture.h"
#include "support/well_formed.h"
#include "upnp/clients.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

// What stands between the two, behind from; empty when it is not there.
std::string between(const std::string& text, const std::string& first, const std::string& last) {
    const std::size_t start = text.find(first);
    const std::size_t end = start == std::string::npos ? start : text.find(last, start + first.size());
    return end == std::string::npos ? "" : text.substr(start + first.size(), end - start - first.size());
}

struct Answer : HandlerAnswer {
    std::string element(const std::string& name) const { return between(body, "<" + name + ">", "</" + name + ">"); }
    // "12 of 345"
    std::string counts() const { return element("NumberReturned") + " of " + element("TotalMatches"); }
    std::string fault() const { return element("errorCode"); }
    std::vector<std::string> titles() const {
        std::vector<std::string> out;
        const std::string open = "&lt;dc:title&gt;", close = "&lt;/dc:title&gt;";
        for (std::size_t at = body.find(open); at != std::string::npos; at = body.find(open, at + 1))
            out.push_back(between(body.substr(at), open, close));
        return out;
    }
    // What is not well-formed in the envelope or in the DIDL-Lite in it.
    std::string xml_faults() const {
        const std::string envelope = xml_fault(body);
        return envelope.empty() ? xml_fault(xml_text_in(body, "Result")) : envelope;
    }
};

class ContentDirectory : public StoreFixture {
protected:
    void SetUp() override {
        StoreFixture::SetUp();
        clients_reset();
    }

    // Runs an action as on a connection of its own, from a receiver of this kind.
    static Answer run(const std::function<HandlerResult(HttpRequest&)>& action, ClientKind kind = ClientKind::generic) {
        static const std::function<HandlerResult(HttpRequest&)>* running;
        running = &action;
        HttpRequest request = request_for("/ContentDirectory/Control", {}, kPost);
        request.peer = "127.0.0." + std::to_string(100 + static_cast<int>(kind));
        request.base_url = "http://192.168.0.2:9000/";
        if (kind != ClientKind::generic) set_client_type(kind, request.peer);
        Answer answer{call_handler([](HttpRequest& received) { return (*running)(received); }, request)};
        EXPECT_EQ(answer.result, HandlerResult::keep);
        EXPECT_EQ(answer.header("Content-Length"), std::to_string(answer.body.size()));
        return answer;
    }
    static Answer browse(const BrowseArguments& arguments) {
        return run([&](HttpRequest& request) { return browse_direct_children(request, arguments); });
    }
    static Answer by_letter(const BrowseArguments& arguments, const Text& letter) {
        return run([&](HttpRequest& request) { return browse_by_letter(request, arguments, letter); });
    }
    static Answer search_for(const Text& criteria, ClientKind kind = ClientKind::generic,
                             BrowseArguments arguments = {.object_id = "0", .filter = "dc:title"}) {
        return run([&](HttpRequest& request) { return search(request, arguments, criteria); }, kind);
    }
    static void add(const std::string& title, const NewItem& with = {}) {
        NewItem item = with;
        item.title = title;
        item.path = "http://h/" + std::to_string(++added_) + ".mp3";
        ASSERT_EQ(db_add_item(std::move(item)), AddResult::added);
    }
    static std::string newest_track() {
        StoreLock lock;
        return std::to_string(store(lock).all_tracks->first_child);
    }
    static std::string all_tracks() { return std::to_string(id_of_container({"Music", "All Tracks"})); }
    static inline int added_ = 0;
};

constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"utf-8\"?><s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
    "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"><s:Body>";

TEST_F(ContentDirectory, AnswersBrowseToTheByte) {
    const Answer answer = browse({.object_id = "0", .filter = "", .starting_index = 2, .requested_count = 1});
    EXPECT_THAT(answer.head, StartsWith("HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=\"UTF-8\"\r\n"));
    const std::string videos = std::to_string(id_of_container({"Videos"}));
    EXPECT_EQ(answer.body,
              std::string{kHead} +
                  "<u:BrowseResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\"><Result>"
                  "&lt;DIDL-Lite xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
                  "xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\" "
                  "xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\"&gt;"
                  "&lt;container id=\"" +
                  videos +
                  "\" parentID=\"0\" childCount=\"2\" restricted=\"1\" "
                  "searchable=\"1\"&gt;&lt;dc:title&gt;Videos&lt;/dc:title&gt;"
                  "&lt;upnp:class&gt;object.container&lt;/upnp:class&gt;&lt;/container&gt;"
                  "&lt;/DIDL-Lite&gt;</Result><NumberReturned>1</NumberReturned><TotalMatches>3</TotalMatches>"
                  "<UpdateID>0</UpdateID></u:BrowseResponse></s:Body></s:Envelope>");

    const Answer metadata = run([&](HttpRequest& request) { return browse_metadata(request, Text{videos}, Text{""}); });
    EXPECT_EQ(metadata.element("Result"), answer.element("Result"));
    EXPECT_EQ(metadata.counts(), "1 of 1");
}

TEST_F(ContentDirectory, CutsTheWindowThatWasAskedFor) {
    for (const char* title : {"c", "a", "e", "b", "d"}) add(title);
    struct {
        std::int32_t first, count;
        const char* expected;
    } constexpr kCases[] = {
        {0, 0, "abcde"},         {3, 2, "de"},       {5, 1, ""},
        {1, -1, "bcde"},         {INT32_MIN, 1, ""}, {INT32_MAX, INT32_MAX, ""},
        {0, INT32_MIN, "abcde"},
    };
    for (const auto& row : kCases) {
        const Answer answer = browse(
            {.object_id = all_tracks(), .filter = "", .starting_index = row.first, .requested_count = row.count});
        std::string titles;
        for (const std::string& title : answer.titles()) titles += title;
        EXPECT_EQ(titles, row.expected) << row.first << " " << row.count;
        EXPECT_EQ(answer.counts(), std::to_string(titles.size()) + " of 5");
    }
}

TEST_F(ContentDirectory, StopsAtTheAnswersSize) {
    for (int n = 0; n < 400; ++n) add(std::string(900, 'x') + std::to_string(n));
    const Answer answer = browse({.object_id = all_tracks(), .filter = ""});
    const std::size_t to_result_end = answer.body.find("&lt;/DIDL-Lite&gt;");
    EXPECT_GE(to_result_end, 195'001u);
    EXPECT_LT(to_result_end, 195'001u + 1200);
    EXPECT_EQ(answer.element("TotalMatches"), "400");
    EXPECT_EQ(answer.titles().size(), std::stoul(answer.element("NumberReturned")));
    EXPECT_EQ(answer.xml_faults(), "");
}

TEST_F(ContentDirectory, BrowsesByLetter) {
    for (const char* title : {"Queen", "Abba", "Madonna"}) add(title);
    const auto starts = [&](const Text& letter) {
        const Answer answer = by_letter({.object_id = all_tracks(), .filter = "", .requested_count = 2}, letter);
        return answer.element("StartingIndex") + ":" + testing::PrintToString(answer.titles());
    };
    EXPECT_EQ(starts("m"), "1:{ \"Madonna\", \"Queen\" }");
    EXPECT_EQ(starts("z"), "3:{}");
    EXPECT_EQ(starts(std::string(10'000, 'm')), "2:{ \"Queen\" }");
    EXPECT_THAT(by_letter({.object_id = all_tracks(), .filter = ""}, "m").body,
                EndsWith("&lt;/DIDL-Lite&gt;</Result><NumberReturned>2</NumberReturned><TotalMatches>3</TotalMatches>"
                         "<UpdateID>0</UpdateID><StartingIndex>1</StartingIndex></u:X_BrowseByLetterResponse>"
                         "</s:Body></s:Envelope>"));

    // Titles that descend are looked through one by one.
    EXPECT_THAT(by_letter({.object_id = all_tracks(), .filter = "", .sort_criteria = "-dc:title"}, "n").titles(),
                ElementsAre("Queen", "Madonna", "Abba"));
    // Folders stand before the tracks, with titles that ascend on their own.
    {
        StoreLock lock;
        for (const char* title : {"Bach", "Reger"})
            tree_add_container(lock, *store(lock).all_tracks, {.title = tree_intern(lock, title)});
    }
    EXPECT_EQ(starts("s"), "5:{}");
    EXPECT_EQ(starts("R"), "1:{ \"Reger\", \"Abba\" }");
}

TEST_F(ContentDirectory, ListsEveryTextAsWellFormedXml) {
    const std::vector<std::string> titles = {
        "]]>&lt;&amp;\"'",    std::string(700, '&'),      std::string(988, 'x') + "<\xC3\xA9",
        "\xFF\xFE\x80",       "\xEF\xBF\xBE\xEF\xBF\xBF", "\xF0\x9F\x8E\xB5\xF4\x8F\xBF\xBF",
        "\x01\x1F\x7F\t\r\n", std::string(5000, '<')};
    for (const std::string& text : titles)
        add(text, {.artist = text,
                   .album = text,
                   .genre = text,
                   .playlist = text,
                   .date = text,
                   .duration = text,
                   .track = 1,
                   .album_art = 1});
    db_add_item({.title = "picture",
                 .media_class = ObjectClass::photo,
                 .path = "http://h/<&\">.jpg?a=<&\"",
                 .description = titles[6],
                 .keywords = titles[0]});
    db_add_item({.title = "no extension", .path = "http://h/<&\">"});
    for (const ClientKind kind : {ClientKind::generic, ClientKind::roku_soundbridge, ClientKind::philips_streamium}) {
        const auto every = run(
            [](HttpRequest& request) {
                return search(request, {.object_id = "0"}, "upnp:class derivedfrom \"object\"");
            },
            kind);
        EXPECT_EQ(every.xml_faults(), "") << static_cast<int>(kind);
        EXPECT_GT(std::stoi(every.element("NumberReturned")), 20);
    }
}

TEST_F(ContentDirectory, SearchesTheWholeTreeAsReceiversExpect) {
    add("Help!", {.artist = "The Beatles"});
    add("Other");
    const Answer help = search_for("dc:title = \"Help!\" and @refID exists \"false\"", ClientKind::generic,
                                   {.object_id = "nowhere", .filter = ""});
    EXPECT_THAT(help.titles(), ElementsAre("Help!"));
    EXPECT_THAT(help.body, HasSubstr("<u:SearchResponse xmlns:u=\"urn:schemas-upnp-org:service:"
                                     "ContentDirectory:1\"><Result>&lt;DIDL-Lite"));
    EXPECT_EQ(search_for(std::nullopt).counts(), "0 of 0");
    // Entities that were escaped twice on their way are decoded once more.
    EXPECT_THAT(search_for("dc:title = &quot;Other&quot; and @refID exists &quot;false&quot;").titles(),
                ElementsAre("Other"));
    // Some receivers want each title once, or only what one id names.
    add("HELP!");
    const std::string id = newest_track();
    const std::string criteria = "dc:title = \"Help!\" or dc:title = \"HELP!\"";
    EXPECT_GT(search_for(criteria).titles().size(), 2u);
    EXPECT_EQ(search_for(criteria, ClientKind::roku_soundbridge).titles().size(), 1u);

    const std::string pinned = "@id = \"" + id + "\" and dc:title = \"nothing\"";
    EXPECT_THAT(search_for(pinned).titles(), IsEmpty());
    EXPECT_THAT(search_for(pinned, ClientKind::sony).titles(), ElementsAre("HELP!"));
    EXPECT_THAT(search_for("@id = " + id, ClientKind::sony).titles(), ElementsAre("HELP!"));
    EXPECT_THAT(search_for("@id =", ClientKind::sony).titles(), IsEmpty());
}

TEST_F(ContentDirectory, NamesItsCapabilities) {
    EXPECT_EQ(
        run(get_search_capabilities).body,
        std::string{kHead} +
            "<u:GetSearchCapabilitiesResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\"><SearchCaps>"
            "dc:source,dc:title,dc:creator,upnp:artist,upnp:genre,upnp:album,dc:date,upnp:originalTrackNumber,"
            "upnp:class,@id,@parentID,@refID,res,upnp:albumArtURI</SearchCaps>"
            "</u:GetSearchCapabilitiesResponse></s:Body></s:Envelope>");
    const auto soundbridge = [] { return run(get_search_capabilities, ClientKind::roku_soundbridge).body; };
    EXPECT_THAT(soundbridge(), HasSubstr("<SearchCaps>*</SearchCaps>"));
    settings_set(Setting::nosearch, "1");
    EXPECT_THAT(soundbridge(), HasSubstr("<SearchCaps></SearchCaps>"));
}

TEST_F(ContentDirectory, UpdatesAnObject) {
    add("Old & Co");
    const std::string id = newest_track();
    const auto update = [&](const std::string& current, const std::string& wanted) {
        const auto body = xml_parse("<Body><ObjectID>" + id + "</ObjectID><CurrentTagValue>" + current +
                                    "</CurrentTagValue><NewTagValue>" + wanted + "</NewTagValue></Body>");
        return run([&](HttpRequest& request) { return update_object(request, body.get()); });
    };
    EXPECT_EQ(update("&lt;title&gt;Wrong&lt;/title&gt;", "&lt;title&gt;New&lt;/title&gt;").fault(), "604");
    EXPECT_EQ(update("&lt;dc:title&gt;x&lt;/dc:title&gt;", "").fault(), "402");
    EXPECT_EQ(update("", "&lt;title&gt;New&lt;/title&gt;").fault(), "501");
    const Answer done = update("&lt;title&gt;Old &amp;amp;amp; Co&lt;/title&gt;", "&lt;title&gt;New&lt;/title&gt;");
    EXPECT_EQ(done.body,
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<s:Envelope "
              "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
              "s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">\r\n<s:Body>\r\n"
              "<u:UpdateObjectResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\" />\r\n"
              "</s:Body>\r\n</s:Envelope>");
    EXPECT_THAT(browse({.object_id = all_tracks(), .filter = ""}).titles(), ElementsAre("New"));
}

}  // namespace
