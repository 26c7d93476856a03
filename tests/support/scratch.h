// A directory of a test's own, gone with the test.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& path() const { return path_; }
    // The path of a name within.
    std::string operator/(std::string_view name) const;
    // Writes a file (and the folders above it) and returns its full path.
    std::string write(const std::string& name, std::string_view content = "x") const;

private:
    std::string path_;
};

// The whole content of a file; empty when it cannot be read.
std::string read_whole_file(const std::string& path);
