// A directory of a test's own, gone with the test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

class ScratchDirectory {
public:
    ScratchDirectory() { mkdtemp(path_.data()); }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& path() const { return path_; }
    // The path of a name within.
    std::string operator/(std::string_view name) const { return (std::filesystem::path{path_} / name).string(); }
    // Writes a file (and the folders above it) and returns its full path.
    std::string write(std::string_view name, std::string_view content = "x") const {
        const std::filesystem::path file = *this / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream{file, std::ios::binary} << content;
        return file.string();
    }

private:
    std::string path_ = std::filesystem::temp_directory_path() / "pelorama-test-XXXXXX";
};

// The whole content of a file; empty when it cannot be read.
inline std::string read_whole_file(const std::string& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
}
