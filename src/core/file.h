// Files and directories: each object owns one handle and closes it. Media, tags and playlists are only read from
// regular files, so a FIFO or a device with a media file's name cannot block the server or feed it without end.
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
    // The time as the store keeps it, clamped to 32 bits (1901 to 2038).
    std::int32_t modified_32() const;
    bool regular = false;
    bool directory = false;
    dev_t device = 0;
    ino_t inode = 0;
};

FileStatus file_status_of(const struct stat& raw);
// Follows symbolic links. Returns nullopt, with errno set, if the status cannot be read.
std::optional<FileStatus> file_status(const std::string& path);
// The same for a name in an open directory.
std::optional<FileStatus> file_status_at(int directory_fd, const char* name);
// Whether the name is itself a symbolic link.
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
    // Returns false, with errno set, if an earlier write turns out to have failed.
    bool close();

    std::optional<FileStatus> status() const;
    // Reads at offset until the span is full or the file ends. Returns the number of bytes read; 0 also on an error.
    std::size_t read_at(std::uint64_t offset, std::span<std::byte> into) const;
    // Returns false, with errno set, unless every byte was written.
    bool write_all(std::string_view text) const;

private:
    int fd_ = -1;
};

// Opens a regular file for reading, without blocking. Returns an empty File, with errno set, for anything else.
File file_open_regular(const std::string& path);
// Creates or truncates a file for writing. Returns an empty File, with errno set, on failure.
File file_create(const std::string& path);

// An open directory, walked entry by entry. The working directory of the process never changes.
class Directory {
public:
    // Opens by path, or by name in an open directory; failure() tells how it went.
    explicit Directory(const std::string& path);
    Directory(int parent_fd, const char* name);
    ~Directory();
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    enum class Failure { none, enter, list };
    Failure failure() const { return failure_; }
    int fd() const;
    // Whether this is procfs or sysfs, which hold no media but links to every other place.
    bool is_kernel_view() const;
    // Returns the name of the next entry, valid until the next call; null at the end. Skips "." and "..".
    const char* next();

private:
    void open(int parent_fd, const char* name);
    DIR* stream_ = nullptr;
    Failure failure_ = Failure::none;
};
