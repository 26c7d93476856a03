// Runs a fuzz target without a fuzzing compiler: every file of its corpus directory, and what is left of a short one
// when it is cut at each length. libFuzzer looks further (scripts/fuzz.sh).
//
// usage: NAME CORPUS_DIRECTORY
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "target.h"

namespace {

constexpr std::size_t kCutEverywhere = 4096;  // longer files are cut at some places alone
constexpr std::size_t kCutsOfLonger = 64;

// The target sees a copy of exactly the input's size on the heap, so that the address sanitizer notices the first byte
// read behind it.
void run_target(const std::vector<char>& input, std::size_t length) {
    const std::vector<char> exact{input.begin(), input.begin() + static_cast<std::ptrdiff_t>(length)};
    fuzz(as_bytes({exact.data(), exact.size()}));
}

}  // namespace

int main(int argc, char** argv) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator{argc == 2 ? argv[1] : ""}) {
        std::printf("%s\n", entry.path().c_str());  // the one at fault is the last
        std::fflush(stdout);
        std::ifstream stream{entry.path(), std::ios::binary};
        const std::vector<char> input{std::istreambuf_iterator<char>{stream}, std::istreambuf_iterator<char>{}};
        run_target(input, input.size());
        const std::size_t step = input.size() <= kCutEverywhere ? 1 : input.size() / kCutsOfLonger;
        for (std::size_t length = 0; length < input.size(); length += step) run_target(input, length);
        ++files;
    }
    return files > 0 ? 0 : 1;
}
