#include "scan/content_directories.h"

#include <gtest/gtest.h>

#include "core/settings.h"
#include "core/start_directory.h"

namespace {

TEST(ContentDirectories, MayBeginWithALetterThatRestrictsThem) {
    settings_set(Setting::contentdir, "/a,M|/b,p|/c,V|,x|/d,/e|f");
    std::vector<std::pair<std::string, ScanRestriction>> found;
    for (const auto& target : content_directories()) found.emplace_back(target.path(), target.restriction);
    EXPECT_EQ(found, (decltype(found){{"/a", {}},
                                      {"/b", ReaderType::music},
                                      {"/c", ReaderType::picture},
                                      {"", ReaderType::video},
                                      {"x|/d", {}},
                                      {"/e|f", {}}}));
    settings_free_all();
    // None is configured.
    ASSERT_EQ(content_directories().size(), 1u);
    EXPECT_EQ(content_directories().front().path(), start_directory());
    EXPECT_TRUE(rescan_dir_valid(start_directory() + "/sub"));
    EXPECT_FALSE(rescan_dir_valid("/nowhere"));
}

TEST(ContentDirectories, HoldWhatMayBeRescanned) {
    struct {
        const char* asked;
        const char* scanned;  // null: not valid
        ScanRestriction restriction = {};
    } const rows[] = {
        {"", nullptr},                           // valid, but no directory
        {"/SRV/Music/Abba", "/srv/music/Abba"},  // found in any case, scanned in the configured one
        {"M|/srv/Lossless/x", "/srv/Lossless/x", ReaderType::music},
        {"m|/srv/lossless", "/srv/Lossless", ReaderType::music},
        {"/srv/Lossless", nullptr},  // the prefix is part of the element
        {"/mnt/disk/", "/mnt/disk/"},
        {"/mnt/disk", nullptr},
        {"../films/x", "../films/x"},
        // One directory, one path: whatever is asked for.
        {"/srv/music//Abba/./Gold/", "/srv/music/Abba/Gold"},
        // Ways out.
        {"/srv/music/../etc", nullptr},
        {"/srv/music/Abba/..", nullptr},
        {"/srv/music/..hidden", "/srv/music/..hidden"},
        {"/srv/music2", nullptr},
        {"V|/etc", nullptr},
        {"/", nullptr},
    };
    settings_set(Setting::contentdir, "/srv/music,M|/srv/Lossless,/mnt/disk/,V|,,../films");
    for (const auto& c : rows) {
        SCOPED_TRACE(c.asked);
        const auto target = rescan_target(c.asked);
        EXPECT_EQ(rescan_dir_valid(c.asked), c.scanned != nullptr || *c.asked == '\0');
        ASSERT_EQ(target.has_value(), c.scanned != nullptr);
        if (!target) continue;
        EXPECT_EQ(target->path(), c.scanned);
        EXPECT_EQ(target->restriction, c.restriction);
        EXPECT_EQ(target->text, c.asked);
    }
    settings_free_all();
}

}  // namespace
