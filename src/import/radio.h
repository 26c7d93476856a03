// Internet radio: reads the list of the most popular stations from a directory service, lists them below "Internet
// Radio" by genre, and reads it again every `radioreread` minutes. Playing a station is the relay's business
// (handlers/relay.h).
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/thread.h"
#include "db/add_item.h"

// Starts the thread and sets its running flag; the thread clears it as its last act. The first reading waits while the
// watched flag (null: none) is running, at most a quarter of an hour. That flag is the persistence reader's.
void radio_start(RunningFlag& running, const RunningFlag* watched);
// What that thread does, in the calling thread. The flag must be set; it is cleared at the end.
void radio_thread(RunningFlag& running, const RunningFlag* watched);

// Reads the directory once. The stations found replace those of the last reading, except those in playlists. If the
// directory cannot be reached, all stations stay and one placeholder says so. Gives up within some 100 ms when the flag
// (null: none) stops running.
void radio_read_stations(const RunningFlag* running);

// The first name of the ID3v1 table (in its order and spelling) that occurs in a directory's genre, ignoring case;
// "Other" if none does.
std::string radio_genre_name(std::string_view genre);

// The stations of a directory's answer, ready for the store, at most kMaxStations. Those that are not "http://" streams
// have no path, so the store refuses them.
constexpr std::size_t kMaxStations = 10'000;
std::vector<NewItem> radio_parse_stations(std::string_view document);
