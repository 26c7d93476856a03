// Runs a fuzz target without a fuzzing compiler: every file of its corpus directory, then mutations of them (bit flips,
// cuts, splices, insertions) until a time limit or a number of runs is reached. The seed is fixed and each mutation has
// a number, so that a failure can be repeated: the number of the run in progress is printed when the process dies.
//
// usage: NAME CORPUS_DIRECTORY [RUN]     with RUN only that mutation is run (its input goes to standard output)
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "target.h"

namespace {

using Input = std::string;

constexpr int kMutations = 20'000;
constexpr auto kTimeLimit = std::chrono::milliseconds{2000};
constexpr std::size_t kMaxInputBytes = 1u << 20;

// Bytes at which parsers tend to change their minds.
constexpr std::string_view kTellingBytes{"\x00\x01\x7f\x80\xff\xfe\n\r \t<>&;\"'\\()-:=09", 24};

// What runs right now, for the message of a dying process. 0 is a corpus file.
volatile std::sig_atomic_t current_run = 0;

void say_run_and_die(int signal_number) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, "\nreplay: died in run %d\n", static_cast<int>(current_run));
    if (write(STDERR_FILENO, text, static_cast<std::size_t>(length)) < 0) _exit(2);
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
}

std::vector<Input> files_in_order(const std::filesystem::path& directory) {
    const std::filesystem::directory_iterator entries{directory};
    const std::set<std::filesystem::path> paths{begin(entries), end(entries)};
    std::vector<Input> files;
    for (const auto& path : paths) {
        std::ifstream stream{path, std::ios::binary};
        files.emplace_back(std::istreambuf_iterator<char>{stream}, std::istreambuf_iterator<char>{});
    }
    return files;
}

// The target sees a copy of exactly the input's size on the heap, so that the address sanitizer notices the first byte
// read behind it.
void run_target(const Input& input) {
    const std::vector<char> exact{input.begin(), input.end()};
    fuzz(as_bytes({exact.data(), exact.size()}));
}

Input mutated(const std::vector<Input>& corpus, int run) {
    std::mt19937 random{static_cast<std::uint32_t>(run)};
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    Input input = corpus[below(corpus.size())];
    for (std::size_t left = 1 + below(4); left > 0; --left) {
        const std::size_t at = below(input.size() + 1), behind = input.size() - at;
        const Input& other = corpus[below(corpus.size())];
        const char telling = kTellingBytes[below(kTellingBytes.size())];
        switch (below(behind > 0 ? 7 : 3)) {
            case 0:
                input.insert(at, 1 + below(16), telling);
                break;
            case 1:
                input.resize(at);
                break;
            case 2:
                input.replace(at, behind, other, below(other.size() + 1));
                break;
            case 3:
                input[at] = static_cast<char>(input[at] ^ (1u << below(8)));
                break;
            case 4:
                input[at] = telling;
                break;
            case 5:
                input.erase(at, below(64));
                break;
            default: {  // a stretch many times over: nesting, long lists, endless lines
                const Input stretch = input.substr(at, 1 + below(32));
                Input repeated;
                for (std::size_t times = 1 + below(256); times > 0; --times) repeated += stretch;
                input.insert(at, repeated);
                break;
            }
        }
    }
    if (input.size() > kMaxInputBytes) input.resize(kMaxInputBytes);
    return input;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIRECTORY [RUN]\n", argv[0]);
        return 2;
    }
    const std::vector<Input> corpus = files_in_order(argv[1]);
    if (corpus.empty()) {
        std::fprintf(stderr, "no corpus files in %s\n", argv[1]);
        return 1;
    }
    if (argc > 2) {
        const Input input = mutated(corpus, std::atoi(argv[2]));
        std::fwrite(input.data(), 1, input.size(), stdout);
        std::fflush(stdout);
        run_target(input);
        return 0;
    }

    // Sanitizer reports end in abort() by ASAN_OPTIONS/UBSAN_OPTIONS abort_on_error, crashes in their signal.
    for (const int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE}) std::signal(number, say_run_and_die);
    for (const Input& input : corpus) run_target(input);
    const auto end = std::chrono::steady_clock::now() + kTimeLimit;
    int run = 0;
    while (run < kMutations && std::chrono::steady_clock::now() < end) {
        current_run = ++run;
        run_target(mutated(corpus, run));
    }
    std::printf("%zu corpus files, %d mutations\n", corpus.size(), run);
    return 0;
}
