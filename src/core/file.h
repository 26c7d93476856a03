// Files and directories: one handle each, closed by its owner. Media, tags and playlists are only ever read from
// regular files, so a FIFO or device with a promising name cannot block or feed the server.
#pragma once

#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

struct FileStatus {
    std::int64_t size = 0;
    std::int64_t modified = 0;  // seconds since the epoch
    // As the store keeps it: a time that does not fit is the last or first one that does (2038, 1901).
    std::int32_t modified_32() const;
    bool regular = false;
    bool directory = false;
    dev_t device = 0;
    ino_t inode = 0;
};

FileStatus file_status_of(const struct stat& raw);
// Missing when the status cannot be read (errno says why). Symbolic links are followed.
std::optional<FileStatus> file_status(const std::string& path);
// The same for a name within an open directory.
std::optional<FileStatus> file_status_at(int directory_fd, const char* name);
// Whether the name itself is a symbolic link.
bool file_is_link_at(int directory_fd, const char* name);

class File {
public:
    File() = default;
    explicit File(int fd) : fd_(fd) {}
    ~File() { close(); }
    File(File&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    File& operator=(File&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }

    explicit operator bool() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    // False (and errno) when the system only now finds out that something was not written.
    bool close();

    std::optional<FileStatus> status() const;
    // As many bytes as there are at offset, at most the span's; 0 at the end and on a read error.
    std::size_t read_at(std::uint64_t offset, std::span<std::byte> into) const;
    // False (and errno) unless every byte was written.
    bool write_all(std::string_view text) const;

private:
    int fd_ = -1;
};

// Opens a regular file for reading without ever blocking; an empty File for anything else (errno says why).
File file_open_regular(const std::string& path);
// Creates or truncates a file for writing.
File file_create(const std::string& path);

// An open directory that is walked entry by entry. The working directory of the process is never changed.
class Directory {
public:
    // Opened by path, or by name within an open directory; status of failure in error().
    explicit Directory(const std::string& path);
    Directory(int parent_fd, const char* name);
    ~Directory();
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    enum class Failure { none, enter, list };
    Failure failure() const { return failure_; }
    int fd() const;
    // Whether it is the kernel's account of the machine (procfs, sysfs): no media, and ways to everywhere.
    bool is_kernel_view() const;
    // The next entry's name, valid until the next call; null at the end. "." and ".." are left out.
    const char* next();

private:
    void open(int parent_fd, const char* name);
    DIR* stream_ = nullptr;
    Failure failure_ = Failure::none;
};
