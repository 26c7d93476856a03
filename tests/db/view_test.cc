#include "db/view.h"

#include <gmock/gmock.h>

#include "support/store_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Views = StoreFixture;

TEST_F(Views, PlaceATrackUnderEveryLevelAndItsAll) {
    db_add_item({.title = "T", .artist = "A", .album = "B", .genre = "G", .date = "2003-05-01", .path = "http://h/1"});
    using Path = std::vector<std::string_view>;
    for (const Path& at : {Path{"Artists", "A"}, Path{"Artists/Albums", "A", "- All -"},
                           Path{"Artists/Albums", "- All -", "B"}, Path{"Year/Albums", "2003", "B"},
                           Path{"Genres/Artists", "- All -", "A", "- All -"}, Path{"Alpha", "ABC", "A"}}) {
        Path from_root{"Music"};
        from_root.insert(from_root.end(), at.begin(), at.end());
        EXPECT_THAT(children(from_root), ElementsAre("(T)")) << testing::PrintToString(at);
    }
    EXPECT_THAT(children({"Music", "Alpha"}), ElementsAre("ABC")) << "letter groups have no \"- All -\"";
    StoreLock lock;
    const MediaItem* const item = db_find_in_type(lock, "http://h/1", ObjectClass::music_track);
    int references = 0;
    tree_for_each_reference(lock, *item, [&](const ItemReference&) { ++references; });
    EXPECT_EQ(references, 32) << "33 of a file; a remote path has no folder of its own";
    EXPECT_EQ(find(lock, {"Music", "Artists/Albums", "A", "B"})->object_class, ObjectClass::music_album);
    EXPECT_EQ(find(lock, {"Music", "Artists/Albums", "- All -"})->object_class, ObjectClass::music_container);
}

TEST_F(Views, TellMissingFromEmpty) {
    db_add_item({.title = "Missing", .path = "http://h/1"});
    db_add_item({.title = "Empty", .artist = "", .album = "  ", .genre = "", .date = "", .path = "http://h/2"});
    db_add_item({.title = "Both", .artist = "Known", .path = "http://h/3", .compilation = 1});
    EXPECT_THAT(children({"Music", "Albums"}), ElementsAre("- All -", "Unknown"));
    EXPECT_THAT(children({"Music", "Albums", "Unknown"}), ElementsAre("(Both)", "(Missing)"));
    EXPECT_THAT(children({"Music", "Albums", "- All -"}), ElementsAre("(Both)", "(Empty)", "(Missing)"));
    EXPECT_THAT(children({"Music", "Artists"}), ElementsAre("Various", "- All -", "Unknown"));
    EXPECT_THAT(children({"Music", "Year/Albums"}), ElementsAre("- All -", "0000"));
}

class OddViews : public StoreFixture {
    void configure() override {
        settings_set(Setting::musicnode1, "Heights,%ARTIST,%HEIGHT");
        settings_set(Setting::musicnode2, "Zero,[0]%ARTIST");
        settings_set(Setting::musicnode3, "Huge,[99999999999]%ARTIST");
        settings_set(Setting::musicnode4, "Open,[");
        settings_set(Setting::musicnode5, "Literal,Shelf,%artist");
        settings_set(Setting::musicnode6, "Flat");
        settings_set(Setting::musicnode7, "Parts,%YEAR,%MONTH,%DAY");
        settings_set(Setting::musicnode8,
                     "Deep,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,"
                     "%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK,%TRACK");
        settings_set(Setting::musicnode9, "Time,%DURATION");
        settings_set(Setting::musicnode10, ",%ARTIST");
    }
};

TEST_F(OddViews, ShowWhatTheyCan) {
    db_add_item({.title = "T", .artist = "Zed", .date = "2003-05", .path = "http://h/1"});
    EXPECT_THAT(children({"Music", "Heights"}), IsEmpty());
    EXPECT_THAT(children({"Music", "Zero"}), ElementsAre("- All -", "Zed"));
    EXPECT_THAT(children({"Music", "Huge"}), ElementsAre("ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
    EXPECT_THAT(children({"Music", "Open"}), ElementsAre("- All -"));
    EXPECT_THAT(children({"Music", "Literal", "Shelf"}), ElementsAre("- All -", "Zed"));
    EXPECT_THAT(children({"Music", "Flat"}), ElementsAre("(T)"));
    EXPECT_THAT(children({"Music", "Parts", "2003", "05"}), ElementsAre("- All -"));
    EXPECT_THAT(children({"Music", "Time"}), ElementsAre("- All -"));
    StoreLock lock;
    EXPECT_EQ(find(lock, {"Music", ""}), nullptr) << "a view without a name";
    EXPECT_LT(tree_object_count(lock), 5000u) << "a view of twenty levels must not hold a million references";
}

TEST(LetterGroup, HoldsTheLetter) {
    struct {
        std::uint32_t first;
        std::int32_t letters;
        const char* expected;
    } constexpr kCases[] = {
        {'K', 3, "JKL"}, {'4', 3, "ABC"},  {0xE9, 3, "DEF"}, {0xD7, 3, "MNO"},           {0xFC, 3, "STU"},
        {0xDF, 3, "YZ"}, {0x416, 3, "YZ"}, {'{', 2, "YZ"},   {'n', 13, "NOPQRSTUVWXYZ"},
    };
    for (const auto& row : kCases) EXPECT_EQ(view_letter_group(row.first, row.letters), row.expected) << row.first;
}

TEST(RelativePath, IsCutBehindItsContentDirectory) {
    struct {
        const char *contentdir, *path, *expected;
    } constexpr kCases[] = {
        {"/pics/", "/pics//a.jpg", "a.jpg"},
        {"/PICS", "/pics/a.jpg", "a.jpg"},
        {"/a,/b", "/b/x/y.mp3", "x/y.mp3"},
        {"/a,/a/b", "/a/b/y.mp3", "b/y.mp3"},  // the first that begins it
        {"M|/data", "/data/x/y.mp3", "x/y.mp3"},
        // Behind a letter, the "/" is looked for two places before the end of the whole element.
        {"M|/data/", "/data/x/y.mp3", "/y.mp3"},
        {"M|/data/xy", "/data/xy/f/y.mp3", "/f/y.mp3"},
        {"/a", "/b/y.mp3", "/b/y.mp3"},
        {",,/a", "/a/y.mp3", "y.mp3"},
    };
    for (const auto& row : kCases) {
        settings_set(Setting::contentdir, row.contentdir);
        EXPECT_EQ(view_relative_path(row.path), row.expected) << row.contentdir;
    }
    settings_free_all();
}

TEST_F(Views, HaveNoFolderForAPathWithAnEmptyName) {
    db_add_item({.title = "T", .path = "ftp://h/x/a.mp3"});
    EXPECT_THAT(children({"Music", "Folders", "ftp:"}), IsEmpty());
    EXPECT_THAT(children({"Music", "Folders", "- All -"}), ElementsAre("(T)"));
}

}  // namespace
