#include "handlers/picture_page.h"

#include <gtest/gtest.h>

TEST(PictureUrl, NamesIdSizeModeAndSuffix) {
    struct {
        const char *url, *id, *suffix;
        int width, height, mode;
    } const rows[] = {
        {"/picture/17(160x120,1).jpg", "17", ".jpg", 160, 120, 1},
        {"/picture/17.jpg(0160x 120,-1)", "17.jpg", "", 160, 120, -1},
        {"/x/picture/folder(4097x0,99).tini.jpg", "folder", ".tini.jpg", 4097, 0, 99},
    };
    for (const auto& row : rows) {
        const auto url = picture_parse_url(row.url);
        ASSERT_TRUE(url) << row.url;
        EXPECT_EQ(url->id_text, row.id);
        EXPECT_EQ(url->suffix, row.suffix);
        EXPECT_EQ(url->width, row.width);
        EXPECT_EQ(url->height, row.height);
        EXPECT_EQ(url->mode, row.mode);
    }
    for (const char* none :
         {"/disk/17(1x1,1)", "/picture/17", "/picture/17(1x1)", "/picture/17(1,1)", "/picture/17(1x1,1"})
        EXPECT_FALSE(picture_parse_url(none)) << none;
}
