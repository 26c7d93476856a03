// Runs a fuzz target without a fuzzing compiler: every file of its corpus directory, then mutations of them (bit flips,
// cuts, splices, insertions) until a time limit or a number of runs is reached. The seed is fixed and each mutation has
// a number, so that a failure can be repeated: the number of the run in progress is printed when the process dies.
//
// usage: NAME CORPUS_DIRECTORY [RUN]     with RUN only that mutation is run (its input goes to standard output)
#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Input = std::vector<std::uint8_t>;

constexpr int kMutations = 20'000;
constexpr auto kTimeLimit = std::chrono::milliseconds{2000};
constexpr std::size_t kMaxInputBytes = 1u << 20;

// Bytes at which parsers tend to change their minds.
constexpr std::array<std::uint8_t, 24> kTellingBytes = {0x00, 0x01, 0x7f, 0x80, 0xff, 0xfe, '\n', '\r',
                                                        ' ',  '\t', '<',  '>',  '&',  ';',  '"',  '\'',
                                                        '\\', '(',  ')',  '-',  ':',  '=',  '0',  '9'};

// What runs right now, for the message of a dying process. 0 is a corpus file.
volatile std::sig_atomic_t current_run = 0;

void say_run_and_die(int signal_number) {
    std::array<char, 64> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "\nreplay: died in run %d\n", static_cast<int>(current_run));
    if (write(STDERR_FILENO, text.data(), static_cast<std::size_t>(length)) < 0) _exit(2);
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
}

Input read_file(const std::filesystem::path& path) {
    std::ifstream stream{path, std::ios::binary};
    return Input{std::istreambuf_iterator<char>{stream}, std::istreambuf_iterator<char>{}};
}

std::vector<std::filesystem::path> files_in_order(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator{directory, error}) {
        if (entry.is_regular_file()) files.push_back(entry.path());
    }
    std::ranges::sort(files);
    return files;
}

// The target sees a copy of exactly the input's size on the heap, so that the address sanitizer notices the first byte
// read behind it.
void run_target(const Input& input) {
    const Input exact{input};
    LLVMFuzzerTestOneInput(exact.data(), exact.size());
}

class Mutator {
public:
    Mutator(const std::vector<Input>& corpus, int run) : corpus_{corpus}, random_{static_cast<std::uint32_t>(run)} {}

    Input make() {
        Input input = corpus_[below(corpus_.size())];
        for (std::size_t left = 1 + below(4); left > 0; --left) change(input);
        if (input.size() > kMaxInputBytes) input.resize(kMaxInputBytes);
        return input;
    }

private:
    void change(Input& input) {
        switch (below(7)) {
            case 0:
                flip_bit(input);
                break;
            case 1:
                set_byte(input);
                break;
            case 2:
                input.resize(below(input.size() + 1));
                break;
            case 3:
                erase(input);
                break;
            case 4:
                insert(input);
                break;
            case 5:
                repeat(input);
                break;
            default:
                splice(input);
                break;
        }
    }

    void flip_bit(Input& input) {
        if (input.empty()) return;
        std::uint8_t& byte = input[below(input.size())];
        byte = static_cast<std::uint8_t>(byte ^ (1u << below(8)));
    }

    void set_byte(Input& input) {
        if (input.empty()) return;
        input[below(input.size())] = telling_byte();
    }

    void erase(Input& input) {
        const std::size_t at = below(input.size() + 1);
        const std::size_t count = below(std::min<std::size_t>(input.size() - at, 64) + 1);
        input.erase(position(input, at), position(input, at + count));
    }

    void insert(Input& input) {
        const std::size_t at = below(input.size() + 1);
        input.insert(position(input, at), 1 + below(16), telling_byte());
    }

    // A stretch of the input many times over: nesting, long lists, endless lines.
    void repeat(Input& input) {
        if (input.empty()) return;
        const std::size_t at = below(input.size());
        const Input stretch{position(input, at),
                            position(input, at + 1 + below(std::min<std::size_t>(input.size() - at, 32)))};
        Input repeated;
        for (std::size_t left = 1 + below(256); left > 0; --left)
            repeated.insert(repeated.end(), stretch.begin(), stretch.end());
        input.insert(position(input, at), repeated.begin(), repeated.end());
    }

    void splice(Input& input) {
        const Input& other = corpus_[below(corpus_.size())];
        input.resize(below(input.size() + 1));
        input.insert(input.end(), position(other, below(other.size() + 1)), other.end());
    }

    static Input::iterator position(Input& input, std::size_t at) {
        return input.begin() + static_cast<std::ptrdiff_t>(at);
    }
    static Input::const_iterator position(const Input& input, std::size_t at) {
        return input.begin() + static_cast<std::ptrdiff_t>(at);
    }
    std::uint8_t telling_byte() { return kTellingBytes[below(kTellingBytes.size())]; }
    std::size_t below(std::size_t limit) { return random_() % limit; }

    const std::vector<Input>& corpus_;
    std::mt19937 random_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIRECTORY [RUN]\n", argv[0]);
        return 2;
    }
    std::vector<Input> corpus;
    for (const auto& path : files_in_order(argv[1])) corpus.push_back(read_file(path));
    if (corpus.empty()) {
        std::fprintf(stderr, "no corpus files in %s\n", argv[1]);
        return 1;
    }

    if (argc > 2) {
        const Input input = Mutator{corpus, std::atoi(argv[2])}.make();
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
        run_target(Mutator{corpus, run}.make());
    }
    std::printf("%zu corpus files, %d mutations\n", corpus.size(), run);
    return 0;
}
