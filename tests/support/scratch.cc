#include "support/scratch.h"

#include <cstdlib>
#include <fstream>
#include <iterator>

ScratchDirectory::ScratchDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pelorama-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string ScratchDirectory::operator/(std::string_view name) const {
    return (std::filesystem::path{path_} / name).string();
}

std::string ScratchDirectory::write(const std::string& name, std::string_view content) const {
    const std::filesystem::path file = std::filesystem::path{path_} / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream{file, std::ios::binary}.write(content.data(), static_cast<std::streamsize>(content.size()));
    return file.string();
}

std::string read_whole_file(const std::string& path) {
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
}
