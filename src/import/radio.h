// Internet radio: reads the list of the most-listened stations from a directory service, files them below "Internet
// Radio" by genre, and reads it again every `radioreread` minutes. Playing a station is the relay's business
// (http/relay.h).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/thread.h"
#include "db/add_item.h"

// Starts the thread and sets its running flag; the thread clears it as its last act. The first reading waits (at most a
// quarter of an hour) while the watched flag, if there is one, is running: it belongs to the thread that reads the
// persistence file.
void radio_start(RunningFlag& running, const RunningFlag* watched);
// What that thread does, in the calling thread. The flag must be set; it is cleared at the end.
void radio_thread(RunningFlag& running, const RunningFlag* watched);

// One reading of the directory, which replaces the stations of the one before; those in playlists stay. A directory
// that cannot be reached leaves them all and adds one placeholder that says so. Given a flag, it gives up within some
// 100 ms once that no longer runs.
void radio_read_stations(const RunningFlag* running);

// The first name of the ID3v1 table (in its order and spelling) that occurs in a directory's genre, ignoring case;
// "Other" when none does.
std::string radio_genre_name(std::string_view genre);

// The stations of a directory's answer, ready for the store, at most kMaxStations. Those that are not "http://" streams
// have no path, so the store refuses them.
constexpr std::size_t kMaxStations = 10'000;
std::vector<NewItem> radio_parse_stations(std::string_view document);
