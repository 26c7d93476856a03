// The ObjectIDs that clients send. Most are numbers; some music-only clients ask for "0\Music\" and its kin, names
// of folders that they expect every server to have.
//
// Asking for "0\Music\" is also how such a receiver makes itself known: its address is recorded as a "LinkSys Wireless
// Music System", the one music-only kind that no other message gives away, unless it already counts as a music client.
// From then on "0" is the music folder for it too.
#pragma once

#include <string_view>

#include "db/tree.h"

enum class BrowsePlace { number, music, pictures, videos };

struct BrowseId {
    BrowsePlace place = BrowsePlace::number;
    ObjectId number = kRootId;  // what is meant where the place does not exist, too
};

// Reads an ObjectID that came from address. Leading-integer rules: a text without digits is the root; a number that no
// id can have is kNoObject. Asks and tells client recognition, so not under the store lock.
BrowseId browse_id_read(std::string_view text, std::string_view address);

// The id that is meant. An empty "- Last Played -" or "- Most Played -" is filled first.
ObjectId db_map_browse_id(const StoreLock& lock, const BrowseId& wanted);
