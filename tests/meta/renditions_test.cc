#include "meta/renditions.h"

#include <gtest/gtest.h>

#include "db/didl.h"
#include "support/store_fixture.h"

namespace {

constexpr const char* kBase = "http://192.168.0.2:9000/";

class Renditions : public StoreFixture {
protected:
    // "resolution protocolInfo path" of each element that a receiver is told of.
    static std::vector<std::string> listed(ClientKind kind, const Text& filter = "res") {
        db_add_item(
            {.title = "P", .media_class = ObjectClass::photo, .path = "http://h/p.jpg", .width = 4000, .height = 3000});
        const ObjectId id = id_of("http://h/p.jpg", ObjectClass::photo);
        TextBuffer text;
        {
            StoreLock lock;
            didl_append_object(lock, text, *tree_object(lock, id), DidlFilter{filter},
                               {.kind = kind, .base_url = kBase});
        }
        const std::string number = "/" + std::to_string(id);
        std::vector<std::string> out;
        std::string rest{text.text()};
        for (std::size_t at; (at = rest.find("&lt;")) != std::string::npos; rest.erase(0, at + 4)) {
            std::string element = rest.substr(at + 4, rest.find("&lt;", at + 4) - at - 4);
            if (element.starts_with("res ") || element.starts_with("DA") || element.starts_with("icon"))
                out.push_back(str_replace_first(str_replace_first(element, kBase, "~"), number, "/ID"));
        }
        return out;
    }
    static std::string res(const char* resolution, const char* protocol_info, const char* path) {
        return std::string{"res resolution=\""} + resolution + "\" protocolInfo=\"http-get:*:" + protocol_info +
               "\"&gt;~" + path;
    }
};

TEST_F(Renditions, AreThoseOfTheReceiversKind) {
    using List = std::vector<std::string>;
    const std::string jpeg = "image/jpeg:*";
    EXPECT_EQ(listed(ClientKind::smc_ez_stream), (List{res("704x528", "image/jpeg:*", "picture/ID(704x528,3).jpg")}));
    EXPECT_EQ(listed(ClientKind::dlink_dsm320), (List{res("684x456", "image/jpeg:*", "picture/ID(684x456,3).jpg"),
                                                      "DA dir=\"0\"&gt;~picture/ID(120x90,1).jpg"}));
    EXPECT_EQ(listed(ClientKind::go_video_d2730), (List{res("4000x3000", "image/jpeg:*", "disk/ID(4000x3000,0).jpg")}));
    EXPECT_EQ(listed(ClientKind::go_video_d2730, "icon"), (List{"icon&gt;~picture/ID(168x112,1).goicon.jpg"}));
    EXPECT_EQ(listed(ClientKind::generic, "icon"), List{});
    EXPECT_EQ(listed(ClientKind::tv_remote), (List{res("720x576", "image/jpeg:*", "picture/ID(720x576,1).jpg"),
                                                   res("120x105", "image/jpeg:*", "picture/ID(120x105,1).jpg")}));
    EXPECT_EQ(listed(ClientKind::philips_streamium),
              (List{res("720x576", "image/jpeg:*", "picture/ID(720x576,1).jpg"),
                    res("1024x768", "image/jpeg:*", "picture/ID(1024x768,1).jpg"),
                    res("120x105", "image/jpeg:*", "picture/ID(120x105,1).jpg"),
                    res("69x51", "image/jpeg:*", "picture/ID(69x51,1).jpg")}));
    EXPECT_EQ(listed(ClientKind::tini), (List{res("320x240", "image/jpeg:*", "picture/ID(320x240,1).tini.jpg")}));
    const List others{res("4000x3000", "image/jpeg:*", "disk/ID(4000x3000,0).jpg"),
                      res("684x456", "image/x-ycbcr-yuv420:*", "picture/ID(684x456,3).yuv"),
                      res("136x90", "image/x-ycbcr-yuv420:*", "picture/ID(136x90,1).yuv"),
                      res("160x160", "image/jpeg:DLNA.ORG_PN=JPEG_TN", "picture/ID(160x160,1).jpg"),
                      res("48x48", "image/jpeg:DLNA.ORG_PN=JPEG_SM_ICO", "picture/ID(48x48,1).jpg"),
                      res("640x480", "image/jpeg:DLNA.ORG_PN=JPEG_SM", "picture/ID(640x480,1).jpg"),
                      res("1024x768", "image/jpeg:DLNA.ORG_PN=JPEG_MED", "picture/ID(1024x768,1).jpg"),
                      res("120x120", "image/jpeg:DLNA.ORG_PN=JPEG_LRG_ICO", "picture/ID(120x120,1).jpg"),
                      res("800x600", "image/pjpeg:*", "picture/ID(800x600,1).pjpg")};
    for (const ClientKind kind : {ClientKind::generic, ClientKind::netgear_mp101, ClientKind::sony, ClientKind::linksys,
                                  ClientKind::roku_soundbridge, ClientKind::noxon})
        EXPECT_EQ(listed(kind), others) << static_cast<int>(kind);
    EXPECT_EQ(listed(ClientKind::generic, "dc:title"), List{});
}

TEST_F(Renditions, OfAReferenceCarryItsOwnId) {
    db_add_item({.title = "P", .media_class = ObjectClass::photo, .date = "2005-07-14", .path = "http://h/p.jpg"});
    TextBuffer text;
    StoreLock lock;
    const MediaObject* const reference =
        tree_object(lock, find(lock, {"Pictures", "Date", "2005", "07", "14"})->first_child);
    ASSERT_EQ(reference->kind, ObjectKind::reference);
    didl_append_object(lock, text, *reference, DidlFilter{"res"}, {.kind = ClientKind::tini, .base_url = kBase});
    EXPECT_NE(text.text().find("picture/" + std::to_string(reference->id) + "(320x240,1)"), std::string_view::npos);
}

TEST_F(Renditions, AreForPicturesOnly) {
    TextBuffer text{"", 16};
    MediaItem track;
    picture_append_res({.kind = ClientKind::generic, .base_url = kBase}, text, 5, track);
    picture_append_icon({.kind = ClientKind::go_video_d2730, .base_url = kBase}, text, 5, track);
    EXPECT_EQ(text.text(), "");
}

}  // namespace
