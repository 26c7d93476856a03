#include <gtest/gtest.h>

#include "support/store_fixture.h"
#include "upnp/didl.h"

namespace {

// What stands between an item's title and its class, as a receiver reads it, with the item's number as ID.
class Renditions : public StoreFixture {
protected:
    void SetUp() override {
        StoreFixture::SetUp();
        db_add_item(
            {.title = "P", .media_class = ObjectClass::photo, .path = "http://h/p.jpg", .width = 4000, .height = 3000});
    }
    static std::string listed(ClientKind kind, const char* filter = "res") {
        const ObjectId id = id_of("http://h/p.jpg", ObjectClass::photo);
        TextBuffer buffer;
        StoreLock lock;
        didl_append_object(lock, buffer, *tree_object(lock, id), DidlFilter{filter}, {.kind = kind, .base_url = "~/"});
        std::string text{buffer.text()};
        for (const auto& [from, to] :
             {std::pair{std::string{"&lt;"}, "<"}, {"&gt;", ">"}, {std::to_string(id) + "(", "ID("}})
            while (text.find(from) != std::string::npos) text.replace(text.find(from), from.size(), to);
        const std::size_t begin = text.find("</dc:title>") + 11;
        return text.substr(begin, text.find("<upnp:class>") - begin);
    }
    static std::string res(const char* resolution, const char* mime, const char* path) {
        return std::string{"<res resolution=\""} + resolution + "\" protocolInfo=\"http-get:*:image/" + mime + "\">~/" +
               path + "</res>";
    }
};

TEST_F(Renditions, AreThoseOfTheReceiversKind) {
    EXPECT_EQ(listed(ClientKind::smc_ez_stream), res("704x528", "jpeg:*", "picture/ID(704x528,3).jpg"));
    EXPECT_EQ(listed(ClientKind::dlink_dsm320), res("684x456", "jpeg:*", "picture/ID(684x456,3).jpg") +
                                                    "<desc><DA dir=\"0\">~/picture/ID(120x90,1).jpg</DA></desc>");
    EXPECT_EQ(listed(ClientKind::go_video_d2730), res("4000x3000", "jpeg:*", "disk/ID(4000x3000,0).jpg"));
    EXPECT_EQ(listed(ClientKind::go_video_d2730, "icon"), "<icon>~/picture/ID(168x112,1).goicon.jpg</icon>");
    EXPECT_EQ(listed(ClientKind::tv_remote), res("720x576", "jpeg:*", "picture/ID(720x576,1).jpg") +
                                                 res("120x105", "jpeg:*", "picture/ID(120x105,1).jpg"));
    EXPECT_EQ(listed(ClientKind::philips_streamium), res("720x576", "jpeg:*", "picture/ID(720x576,1).jpg") +
                                                         res("1024x768", "jpeg:*", "picture/ID(1024x768,1).jpg") +
                                                         res("120x105", "jpeg:*", "picture/ID(120x105,1).jpg") +
                                                         res("69x51", "jpeg:*", "picture/ID(69x51,1).jpg"));
    EXPECT_EQ(listed(ClientKind::tini), res("320x240", "jpeg:*", "picture/ID(320x240,1).tini.jpg"));
    const std::string others = res("4000x3000", "jpeg:*", "disk/ID(4000x3000,0).jpg") +
                               res("684x456", "x-ycbcr-yuv420:*", "picture/ID(684x456,3).yuv") +
                               res("136x90", "x-ycbcr-yuv420:*", "picture/ID(136x90,1).yuv") +
                               res("160x160", "jpeg:DLNA.ORG_PN=JPEG_TN", "picture/ID(160x160,1).jpg") +
                               res("48x48", "jpeg:DLNA.ORG_PN=JPEG_SM_ICO", "picture/ID(48x48,1).jpg") +
                               res("640x480", "jpeg:DLNA.ORG_PN=JPEG_SM", "picture/ID(640x480,1).jpg") +
                               res("1024x768", "jpeg:DLNA.ORG_PN=JPEG_MED", "picture/ID(1024x768,1).jpg") +
                               res("120x120", "jpeg:DLNA.ORG_PN=JPEG_LRG_ICO", "picture/ID(120x120,1).jpg") +
                               res("800x600", "pjpeg:*", "picture/ID(800x600,1).pjpg");
    for (const ClientKind kind : {ClientKind::generic, ClientKind::netgear_mp101, ClientKind::sony, ClientKind::linksys,
                                  ClientKind::roku_soundbridge, ClientKind::noxon})
        EXPECT_EQ(listed(kind), others) << static_cast<int>(kind);
    EXPECT_EQ(listed(ClientKind::generic, "dc:title,icon"), "");
}

}  // namespace
