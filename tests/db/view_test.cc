#include "db/view.h"

#include <gmock/gmock.h>

#include "support/rows.h"
#include "support/store_fixture.h"

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Views = StoreFixture;

TEST_F(Views, TellMissingFromEmpty) {
    add({.title = "Missing", .path = "http://h/1"});
    add({.title = "Empty", .artist = "", .album = "  ", .genre = "", .date = "", .path = "http://h/2"});
    add({.title = "Both", .artist = "Known", .path = "http://h/3", .compilation = 1});
    EXPECT_THAT(children({"Music", "Albums"}), ElementsAre("- All -", "Unknown"));
    EXPECT_THAT(children({"Music", "Albums", "Unknown"}), ElementsAre("(Both)", "(Missing)"));
    EXPECT_THAT(children({"Music", "Albums", "- All -"}), ElementsAre("(Both)", "(Empty)", "(Missing)"));
    EXPECT_THAT(children({"Music", "Artists"}), ElementsAre("Various", "- All -", "Unknown"));
    EXPECT_THAT(children({"Music", "Year/Albums"}), ElementsAre("- All -", "0000"));
    // Letter groups have no "- All -".
    EXPECT_THAT(children({"Music", "Alpha"}), ElementsAre("VWX", "STU"));
    // A path with an empty name has no folder.
    add({.title = "T", .path = "ftp://h/x/a.mp3"});
    EXPECT_THAT(children({"Music", "Folders", "ftp:"}), IsEmpty());
    StoreLock lock;
    EXPECT_EQ(find(lock, {"Music", "Artists/Albums", "Various", "Unknown"})->object_class, ObjectClass::music_album);
    EXPECT_EQ(find(lock, {"Music", "Artists/Albums", "- All -"})->object_class, ObjectClass::music_container);
}

class OddViews : public StoreFixture {
    void configure() override {
        std::string deep = "Deep";
        for (int level = 0; level < 20; ++level) deep += ",%TRACK";
        int n = 0;
        for (const std::string& view :
             {"Heights,%ARTIST,%HEIGHT"s, "Zero,[0]%ARTIST"s, "Huge,[99999999999]%ARTIST"s, "Open,["s,
              "Literal,Shelf,%artist"s, "Flat"s, "Parts,%YEAR,%MONTH,%DAY"s, deep, "Time,%DURATION"s, ",%ARTIST"s})
            settings_set(setting_of(Setting::musicnode1, ++n), view);
    }
};

TEST_F(OddViews, ShowWhatTheyCan) {
    add({.title = "T", .artist = "Zed", .date = "2003-05", .path = "http://h/1"});
    for (const auto& [titles, expected] : Rows<Titles, Strings>{
             {{"Music", "Heights"}, {}},
             {{"Music", "Zero"}, {"- All -", "Zed"}},
             {{"Music", "Huge"}, {"ABCDEFGHIJKLMNOPQRSTUVWXYZ"}},
             {{"Music", "Open"}, {"- All -"}},
             {{"Music", "Literal", "Shelf"}, {"- All -", "Zed"}},
             {{"Music", "Flat"}, {"(T)"}},
             {{"Music", "Parts", "2003", "05"}, {"- All -"}},
             {{"Music", "Time"}, {"- All -"}},
         })
        EXPECT_EQ(children(titles), expected) << titles[1];
    StoreLock lock;
    EXPECT_EQ(find(lock, {"Music", ""}), nullptr) << "a view without a name";
    EXPECT_LT(tree_object_count(lock), 5000u) << "a view of twenty levels must not hold a million references";
}

TEST(LetterGroup, HoldsTheLetter) {
    using Row = std::tuple<std::uint32_t, int, const char*>;
    for (const auto& [first, letters, expected] :
         {Row{'K', 3, "JKL"}, Row{'4', 3, "ABC"}, Row{0xE9, 3, "DEF"}, Row{0xD7, 3, "MNO"}, Row{0xFC, 3, "STU"},
          Row{0xDF, 3, "YZ"}, Row{0x416, 3, "YZ"}, Row{'{', 2, "YZ"}, Row{'n', 13, "NOPQRSTUVWXYZ"}})
        EXPECT_EQ(view_letter_group(first, letters), expected) << first;
}

TEST(RelativePath, IsCutBehindItsContentDirectory) {
    for (const auto& [contentdir, path, expected] : Rows<const char*, const char*, const char*>{
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
         }) {
        settings_set(Setting::contentdir, contentdir);
        EXPECT_EQ(view_relative_path(path), expected) << contentdir;
    }
    settings_free_all();
}

}  // namespace
