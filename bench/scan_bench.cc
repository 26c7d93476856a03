// Reading MP3 files and walking their tree from the page cache: the tags of one file, a first scan, a scan of a library
// that did not change. items_per_second are files.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/settings.h"
#include "core/str.h"
#include "core/thread.h"
#include "db/store.h"
#include "meta/mp3.h"
#include "scan/tree_walk.h"

namespace {

namespace fs = std::filesystem;

constexpr int kFolders = 400, kFilesPerFolder = 25;

std::string text_frame(const char* id, const std::string& text) {
    return std::string{id} + std::string{0, 0, 0, static_cast<char>(text.size() + 1), 0, 0, 0} + text;
}

// A tagged file of 1.4 kB: three frames of silence at 128 kbit/s.
std::string track(int n) {
    const std::string frames = text_frame("TIT2", text_format(40, "Track number %d", n)) +
                               text_frame("TPE1", text_format(40, "Artist %d", n / 50)) +
                               text_frame("TALB", text_format(40, "Album %d", n / 12)) + text_frame("TCON", "(17)") +
                               text_frame("TYER", "2004") + text_frame("TRCK", text_format(8, "%d/12", n % 12 + 1));
    std::string sound{"\xFF\xFB\x90\x00", 4};
    sound.resize(417);
    return std::string{"ID3\3\0\0\0\0", 8} + static_cast<char>(frames.size() / 128) +
           static_cast<char>(frames.size() % 128) + frames + sound + sound + sound;
}

// The library of all benchmarks, gone with the process.
class Library {
public:
    Library() {
        std::string pattern = (fs::temp_directory_path() / "pelorama-bench-XXXXXX").string();
        root_ = mkdtemp(pattern.data());
        for (int n = 0; n < kFolders * kFilesPerFolder; ++n) {
            const fs::path folder = fs::path{root_} / text_format(16, "folder %d", n / kFilesPerFolder);
            fs::create_directories(folder);
            paths_.push_back(folder / text_format(16, "%d.mp3", n));
            std::ofstream{paths_.back(), std::ios::binary} << track(n);
        }
    }
    ~Library() { fs::remove_all(root_); }
    const std::string& root() const { return root_; }
    const std::vector<std::string>& paths() const { return paths_; }

private:
    std::string root_;
    std::vector<std::string> paths_;
};
const Library& library() {
    static const Library one;
    return one;
}

void count_files(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * kFolders * kFilesPerFolder);
}

void ReadTags(benchmark::State& state) {
    for (auto _ : state)
        for (const std::string& path : library().paths()) benchmark::DoNotOptimize(mp3_read_tags(path));
    count_files(state);
}
BENCHMARK(ReadTags)->Unit(benchmark::kMillisecond);

void scan(const RunningFlag& running) {
    FoundPlaylists playlists;
    scan_directory(library().root(), running, {}, playlists);
}

void FirstScan(benchmark::State& state) {
    RunningFlag running;
    running.set_running();
    settings_set_defaults();
    for (auto _ : state) {
        state.PauseTiming();
        db_destroy();
        db_create();
        state.ResumeTiming();
        scan(running);
    }
    if (db_count_all_tracks() != kFolders * kFilesPerFolder) state.SkipWithError("not every file was added");
    count_files(state);
    db_destroy();
}
BENCHMARK(FirstScan)->Unit(benchmark::kMillisecond);

void UnchangedScan(benchmark::State& state) {
    RunningFlag running;
    running.set_running();
    settings_set_defaults();
    db_create();
    scan(running);
    for (auto _ : state) scan(running);
    count_files(state);
    db_destroy();
}
BENCHMARK(UnchangedScan)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
