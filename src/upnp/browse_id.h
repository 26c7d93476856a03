// The ObjectIDs that clients send. Most are numbers; some music-only clients ask for "0\Music\" and its kin, names
// of folders that they expect every server to have.
#pragma once

#include <string_view>

#include "db/tree.h"

enum class BrowsePlace { number, music, pictures, videos };

struct BrowseId {
    BrowsePlace place = BrowsePlace::number;
    ObjectId number = kRootId;  // also what is meant if the place does not exist
};

// Reads an ObjectID. Leading-integer rules: a text without digits is the root; a number that no id can have is
// kNoObject. For music-only clients "0" is the music folder.
BrowseId browse_id_read(std::string_view text, bool music_only);

// The id that is meant. An empty "- Last Played -" or "- Most Played -" is filled first.
ObjectId db_map_browse_id(const StoreLock& lock, const BrowseId& wanted);
