// Listings of 100,000 tracks with the default views (3.3 million references): sorting all of them, one page of a known
// order, searches, and the DIDL-Lite of a page.

#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "core/settings.h"
#include "core/str.h"
#include "core/text_buffer.h"
#include "db/add_item.h"
#include "db/group_facts.h"
#include "db/listing.h"
#include "db/store.h"
#include "upnp/didl.h"

namespace {

constexpr int kTracks = 100'000;
constexpr std::size_t kPage = 30;

// Titles begin alike ("Track number ..."), as the worst of real libraries do, and are added in no order.
void fill() {
    settings_set_defaults();
    db_create();
    std::mt19937 random{1};
    for (int n = 0; n < kTracks; ++n) {
        const int shown = static_cast<int>(random() % kTracks);
        db_add_item({.title = text_format(40, "Track number %d", shown),
                     .artist = text_format(40, "Artist %d", n / 50),
                     .album = text_format(40, "Album %d", n / 12),
                     .genre = text_format(40, "Genre %d", n / 50 % 20),
                     .date = text_format(40, "%d-01-01", 1970 + n / 12 % 50),
                     .path = text_format(100, "http://host/music/artist %d/album %d/track %d.mp3", n / 50, n / 12, n),
                     .duration = "0:03:25.123",
                     .track = n % 12 + 1,
                     .size = 5'000'000,
                     .modified = 1});
    }
}

class FullStore : public benchmark::Fixture {
    void SetUp(benchmark::State&) override { fill(); }
    void TearDown(benchmark::State&) override { db_destroy(); }
};

void sort_all_tracks(benchmark::State& state, const char* criteria) {
    const ListingOrder order = listing_order(criteria);
    for (auto _ : state) {
        StoreLock lock;
        listing_forget_all(lock);
        benchmark::DoNotOptimize(listing_children(lock, *store(lock).all_tracks, order));
    }
}
BENCHMARK_DEFINE_F(FullStore, sort_by_title)(benchmark::State& state) {
    sort_all_tracks(state, "+dc:title");
}
BENCHMARK_DEFINE_F(FullStore, sort_by_artist_and_title)
(benchmark::State& state) {
    sort_all_tracks(state, "+upnp:artist,-dc:title");
}
BENCHMARK_DEFINE_F(FullStore, sort_by_track)
(benchmark::State& state) {
    sort_all_tracks(state, "+upnp:originalTrackNumber,+dc:title");
}
BENCHMARK_DEFINE_F(FullStore, sort_by_path)(benchmark::State& state) {
    sort_all_tracks(state, "+res");
}
BENCHMARK_REGISTER_F(FullStore, sort_by_title)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(FullStore, sort_by_artist_and_title)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(FullStore, sort_by_track)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(FullStore, sort_by_path)->Unit(benchmark::kMillisecond);

BENCHMARK_DEFINE_F(FullStore, page_of_a_known_order)(benchmark::State& state) {
    const ListingOrder order = listing_order("+dc:title");
    const DidlFilter filter{std::nullopt};
    const DidlClient client{.profile = client_profile(ClientKind::generic), .base_url = "http://192.168.1.2:9000/"};
    std::size_t first = 0;
    for (auto _ : state) {
        StoreLock lock;
        const Listing listing = listing_children(lock, *store(lock).all_tracks, order);
        TextBuffer text;
        for (std::size_t at = 0; at < kPage; ++at)
            didl_append_object(lock, text, *tree_object(lock, (*listing)[first + at]), filter, client);
        benchmark::DoNotOptimize(text.length());
        first = (first + 7919) % (kTracks - kPage);
    }
}
BENCHMARK_REGISTER_F(FullStore, page_of_a_known_order)->Unit(benchmark::kMicrosecond);

void search_tree(benchmark::State& state, const char* criteria, bool each_title_once = false) {
    const SearchQuery query{.text = criteria,
                            .criteria = *search_compile(criteria),
                            .each_title_once = each_title_once,
                            .order = listing_order(std::nullopt)};
    std::size_t matches = 0;
    for (auto _ : state) {
        StoreLock lock;
        listing_forget_all(lock);
        matches = listing_search(lock, query)->size();
    }
    state.counters["matches"] = static_cast<double>(matches);
}
BENCHMARK_DEFINE_F(FullStore, search_a_title)
(benchmark::State& state) {
    search_tree(state, "dc:title contains \"number 4711\"");
}
BENCHMARK_DEFINE_F(FullStore, search_a_twentieth)
(benchmark::State& state) {
    search_tree(state, "upnp:genre = \"Genre 7\"");
}
BENCHMARK_DEFINE_F(FullStore, search_all_tracks)
(benchmark::State& state) {
    search_tree(state, "upnp:class derivedfrom \"object.item.audioItem\"");
}
BENCHMARK_DEFINE_F(FullStore, search_all_tracks_each_title_once)
(benchmark::State& state) {
    search_tree(state, "upnp:class derivedfrom \"object.item.audioItem\"", true);
}
BENCHMARK_DEFINE_F(FullStore, search_by_track_number)
(benchmark::State& state) {
    search_tree(state, "upnp:originalTrackNumber = \"40\"");
}
// As many relations as a group takes, beside one that every reference has to be asked for itself.
BENCHMARK_DEFINE_F(FullStore, search_by_id_or_many_titles)
(benchmark::State& state) {
    std::string criteria = "@id = \"7\"";
    for (int i = 0; i < 62; ++i) criteria += " or dc:title contains \"no such " + std::to_string(i) + "\"";
    search_tree(state, criteria.c_str());
}
BENCHMARK_REGISTER_F(FullStore, search_by_id_or_many_titles)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(FullStore, search_a_title)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(FullStore, search_a_twentieth)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(FullStore, search_all_tracks)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(FullStore, search_all_tracks_each_title_once)->Unit(benchmark::kMillisecond);
BENCHMARK_REGISTER_F(FullStore, search_by_track_number)->Unit(benchmark::kMillisecond);

// No track has album art, so every folder is read to its end unless that is remembered.
BENCHMARK_DEFINE_F(FullStore, page_of_folders_with_play_time)(benchmark::State& state) {
    const ListingOrder order = listing_order(std::nullopt);
    const DidlFilter filter{std::nullopt};
    const DidlClient client{.profile = client_profile(ClientKind::roku_soundbridge),
                            .base_url = "http://192.168.1.2:9000/"};
    for (auto _ : state) {
        StoreLock lock;
        if (state.range(0) == 0) group_facts_forget_all(lock);
        const Listing listing =
            listing_children(lock, *tree_find_child_container(lock, "Genres", *store(lock).music), order);
        TextBuffer text;
        for (const ObjectId id : *listing) didl_append_object(lock, text, *tree_object(lock, id), filter, client);
        benchmark::DoNotOptimize(text.length());
    }
}
BENCHMARK_REGISTER_F(FullStore, page_of_folders_with_play_time)
    ->ArgName("remembered")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
