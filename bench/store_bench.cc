// The store at 100,000 tracks with the default views: adding, replacing, removing, looking up, and bytes per track.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <string>

#include "core/settings.h"
#include "core/str.h"
#include "db/add_item.h"
#include "db/dbfile.h"
#include "db/store.h"
#include "db/upkeep.h"

namespace {

constexpr int kTracks = 100'000;

std::string path_of(int n) {
    return text_format(100, "http://host/music/artist %d/album %d/track %d.mp3", n / 50, n / 12, n);
}

void add(int n, std::int32_t modified) {
    db_add_item({.title = text_format(40, "Track number %d", n),
                 .artist = text_format(40, "Artist %d", n / 50),
                 .album = text_format(40, "Album %d", n / 12),
                 .genre = text_format(40, "Genre %d", n / 50 % 20),
                 .date = text_format(40, "%d-01-01", 1970 + n / 12 % 50),
                 .path = path_of(n),
                 .duration = "0:03:25.123",
                 .track = n % 12 + 1,
                 .size = 5'000'000,
                 .modified = modified});
}

void fill() {
    settings_set_defaults();
    db_create();
    for (int n = 0; n < kTracks; ++n) add(n, 1);
}

void add_all_tracks(benchmark::State& state) {
    for (auto _ : state) {
        const auto before = mallinfo2();
        fill();
        const auto after = mallinfo2();
        state.counters["bytes_per_track"] =
            static_cast<double>(after.uordblks + after.hblkhd - before.uordblks - before.hblkhd) / kTracks;
        state.PauseTiming();
        db_destroy();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kTracks);
}
BENCHMARK(add_all_tracks)->Unit(benchmark::kMillisecond)->Iterations(3);

class FullStore : public benchmark::Fixture {
    void SetUp(benchmark::State&) override { fill(); }
    void TearDown(benchmark::State&) override { db_destroy(); }
};

BENCHMARK_DEFINE_F(FullStore, replace_a_changed_file)(benchmark::State& state) {
    std::int32_t modified = 2;
    for (auto _ : state) {
        ++modified;
        add(modified * 7919 % kTracks, modified);
    }
}
BENCHMARK_REGISTER_F(FullStore, replace_a_changed_file)->Iterations(20'000);

BENCHMARK_DEFINE_F(FullStore, remove_a_file)(benchmark::State& state) {
    int n = 0;
    for (auto _ : state) db_remove_file(path_of(n++));
}
BENCHMARK_REGISTER_F(FullStore, remove_a_file)->Iterations(20'000);

BENCHMARK_DEFINE_F(FullStore, is_newer_on_disk)(benchmark::State& state) {
    int n = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(db_is_newer_on_disk(path_of(n++ * 7919 % kTracks), ObjectClass::music_track, 1));
}
BENCHMARK_REGISTER_F(FullStore, is_newer_on_disk);

BENCHMARK_DEFINE_F(FullStore, prune_and_event_pass)(benchmark::State& state) {
    for (auto _ : state) {
        db_prune_empty();
        db_event_pass();
    }
}
BENCHMARK_REGISTER_F(FullStore, prune_and_event_pass)->Unit(benchmark::kMicrosecond);

// What a save does under the lock.
BENCHMARK_DEFINE_F(FullStore, format_for_the_file)(benchmark::State& state) {
    RunningFlag running;
    running.set_running();
    for (auto _ : state) {
        DbText text;
        StoreLock lock;
        benchmark::DoNotOptimize(dbfile_write_items(lock, store(lock).all_tracks, text, running));
        state.counters["bytes"] = static_cast<double>(text.bytes());
    }
}
BENCHMARK_REGISTER_F(FullStore, format_for_the_file)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
