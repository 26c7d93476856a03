#include "handlers/picture_page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "core/process.h"
#include "handlers/picture_turn.h"
#include "import/file_item.h"
#include "meta/jpeg_codec.h"
#include "support/handler_call.h"
#include "support/jpeg_builder.h"
#include "support/scratch.h"
#include "support/scripted_server.h"
#include "support/store_fixture.h"
#include "upnp/clients.h"

using namespace std::string_literals;
using testing::StartsWith;

namespace {

class PicturePage : public StoreFixture {
protected:
    void configure() override {
        ignore_broken_pipes();
        clients_reset();
    }
    std::string add(const std::string& name, std::string_view content) {
        const std::string path = scratch_.write(name, content);
        add_media_file(path, *media_format_of(path), false);
        return std::to_string(id_of(path, ObjectClass::photo));
    }
    static std::string add_remote(const std::string& url) {
        EXPECT_EQ(db_add_item({.media_class = ObjectClass::photo, .path = url}), AddResult::added);
        return std::to_string(id_of(url, ObjectClass::photo));
    }
    static HandlerAnswer get(const std::string& rest) { return call_handler(handle_picture, "/picture/" + rest); }
    static bool is_not_found(const HandlerAnswer& answer) {
        return answer.status_line == "HTTP/1.1 404 Not Found" && answer.header("Content-Type") != "image/jpeg";
    }
    // The grey picture that stands for one that cannot be shown.
    static bool is_placeholder(const HandlerAnswer& answer) {
        if (answer.status_line != "HTTP/1.1 200 OK") return false;
        const TestPicture picture = jpeg_pixels(answer.body);
        return picture.width == 100 && picture.height == 100 && picture.rgb == std::vector<std::uint8_t>(30000, 0x80);
    }
    ScratchDirectory scratch_;
};

TEST_F(PicturePage, ScalesToTheSizeAskedFor) {
    const std::string id = add("a.jpg", jpeg_bytes(plain_picture(640, 480, 200, 10, 10)));
    const HandlerAnswer answer = get(id + "(160x160,1).jpg");
    EXPECT_EQ(answer.status_line, "HTTP/1.1 200 OK");
    EXPECT_EQ(answer.result, HandlerResult::keep);
    const TestPicture picture = jpeg_pixels(answer.body);
    ASSERT_EQ(picture.height, 160);
    for (const int y : {0, 10, 149, 159}) EXPECT_LT(picture.at(80, y)[0], 10) << y;
    for (const int y : {25, 80, 135}) EXPECT_GT(picture.at(80, y)[0], 180) << y;

    const auto size = [&](const std::string& rest) {
        const TestPicture scaled = jpeg_pixels(get(id + rest).body);
        return text_format(20, "%dx%d", scaled.width, scaled.height);
    };
    EXPECT_EQ(size("(0160x 120,-1)"), "160x120");
    EXPECT_EQ(size("(160x160,99)"), "160x160");
    EXPECT_EQ(size("(4096x1,1)"), "4096x1");
    EXPECT_EQ(size(".jpg(9x9,1)"), "9x9");
}

TEST_F(PicturePage, AnswersInTheFormOfTheSuffix) {
    const std::string id = add("a.jpg", jpeg_bytes(plain_picture(64, 48, 255, 255, 255)));
    EXPECT_EQ(get(id + "(136x90,1).yuv").header("Content-Type"), "image/jpeg");
    EXPECT_EQ(get(id + "(135x91,1).yuv").body.size(), 18427u);
    EXPECT_TRUE(get(id + "(32x24,1).tini.jpg").body == std::string(32 * 24 * 2, '\xFF'));
    EXPECT_EQ(get(id + "(1000x1000,1).tini").body.size(), 2'000'000u) << "more than a socket takes at once";

    const TestPicture icon = jpeg_pixels(get(id + "(168x112,1).goicon.jpg").body);
    ASSERT_EQ(icon.width, 168);
    ASSERT_EQ(icon.height, 112);
    EXPECT_GT(icon.at(84, 80)[0], icon.at(84, 80)[2] + 100) << "a yellow folder";
    EXPECT_EQ(get(id + "(10x10,1).goicon.yuv").body.size(), 150u);

    const SocketPair idle;
    const auto others = picture_take_turn(idle.server, 255 * 1024 * 1024);
    EXPECT_EQ(get(id + "(4096x4096,0).tini").body.size(), 64u * 48 * 2) << "waits for no more memory than it takes";
}

TEST_F(PicturePage, AnswersNotFoundForWhatItCannotKnow) {
    const std::string id = add("a.jpg", jpeg_bytes(plain_picture(8, 8, 1, 2, 3)));
    const std::string gone = add("gone.jpg", jpeg_bytes(plain_picture(8, 8, 1, 2, 3)));
    std::filesystem::remove(scratch_ / "gone.jpg");
    for (const std::string& rest :
         {"999999(9x9,1).goicon.jpg"s, gone + "(9x9,1)", add_remote("ftp://h/p.jpg") + "(9x9,1)", id + "(9x0,1)",
          id + "(4097x9,1)", id + "(9x4097,1)", id + "(0x9,1).goicon.jpg"})
        EXPECT_TRUE(is_not_found(get(rest))) << rest;
    EXPECT_EQ(jpeg_pixels(get(gone + "(168x112,1).goicon.jpg").body).width, 168) << "the icon needs no file";
}

TEST_F(PicturePage, ShowsAGreyPictureForWhatIsNoGoodJpeg) {
    const std::string good = jpeg_bytes(noise_picture(64, 64));
    std::string twelve_bits = good, huge = good, many_scans = jpeg_bytes(noise_picture(64, 64), JpegKind::progressive);
    twelve_bits[twelve_bits.find("\xFF\xC0") + 4] = 12;
    huge.replace(huge.find("\xFF\xC0") + 5, 4, "\xFF\xDC\xFF\xDC");
    // The last scan a thousand times over.
    const std::size_t last_scan = many_scans.rfind("\xFF\xDA");
    const std::string scan = many_scans.substr(last_scan, many_scans.size() - 2 - last_scan);
    for (int i = 0; i < 50; ++i) many_scans.insert(last_scan, scan);
    EXPECT_FALSE(is_placeholder(get(add("fifty_scans.jpg", many_scans) + "(160x160,1)")));
    for (int i = 0; i < 950; ++i) many_scans.insert(last_scan, scan);

    const std::vector<std::pair<std::string, std::string>> cases = {
        {"text", "not a picture"},
        {"header_alone", jpeg_head({}, 64, 64)},
        {"half", good.substr(0, good.size() / 2)},
        {"without_its_end", good.substr(0, good.size() - 2)},
        {"cmyk", jpeg_bytes(noise_picture(64, 64), JpegKind::cmyk)},
        {"twelve_bits", twelve_bits},
        {"huge", huge},
        {"many_scans", many_scans},
    };
    for (const auto& [name, content] : cases) {
        const std::string id = add(name + ".jpg", content);
        for (const char* const mode : {"(160x160,1)", "(160x160,0)"})
            EXPECT_TRUE(is_placeholder(get(id + mode))) << name << mode;
    }
}

TEST_F(PicturePage, SurvivesEveryCutOfAJpeg) {
    for (const JpegKind kind : {JpegKind::baseline, JpegKind::progressive}) {
        const std::string whole = jpeg_bytes(noise_picture(24, 24), kind);
        for (std::size_t length = 0; length < whole.size(); ++length) {
            FileWindow cut{as_bytes(whole).first(length)};
            JpegDecoder decoder{cut};
            RgbPicture picture;
            const bool decoded =
                decoder.start() && picture_scale(decoder, picture_place(24, 24, 9, 9, 1), picture) && decoder.finish();
            EXPECT_FALSE(decoded) << length;
        }
    }
}

TEST_F(PicturePage, FetchesPicturesOfOtherServers) {
    const std::string jpeg = jpeg_bytes(plain_picture(64, 48, 255, 255, 255));
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(jpeg.size()) + "\r\n\r\n";
    {
        ScriptedServer server{head + jpeg};
        EXPECT_EQ(get(add_remote(server.url("/a.jpg")) + "(32x24,1).tini").body, std::string(32 * 24 * 2, '\xFF'));
        EXPECT_THAT(server.last_request(), StartsWith("GET /a.jpg HTTP/1.1\r\n"));
        EXPECT_EQ(jpeg_pixels(get(add_remote(server.url("/cam#_webcam.jpg")) + "(32x24,1)").body).width, 32);
        EXPECT_THAT(server.last_request(), StartsWith("GET /cam HTTP/1.1\r\n"));
    }
    for (const std::string& answer :
         {head + jpeg.substr(0, jpeg.size() / 2), "HTTP/1.1 404 Not Found\r\nContent-Length: 2\r\n\r\nno"s}) {
        ScriptedServer server{answer};
        EXPECT_TRUE(is_placeholder(get(add_remote(server.url("/b.jpg")) + "(32x24,1)"))) << answer.substr(0, 20);
    }
    EXPECT_TRUE(is_placeholder(get(add_remote("http://127.0.0.1:1/nobody.jpg") + "(32x24,1)")));
}

}  // namespace
