#include "core/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

std::int32_t FileStatus::modified_32() const {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(modified, Limits::min(), Limits::max()));
}

FileStatus file_status_of(const struct stat& raw) {
    return {.size = raw.st_size,
            .modified = raw.st_mtime,
            .regular = S_ISREG(raw.st_mode),
            .directory = S_ISDIR(raw.st_mode),
            .device = raw.st_dev,
            .inode = raw.st_ino};
}

std::optional<FileStatus> file_status(const std::string& path) {
    return file_status_at(AT_FDCWD, path.c_str());
}

std::optional<FileStatus> file_status_at(int directory_fd, const char* name) {
    struct stat raw {};
    if (fstatat(directory_fd, name, &raw, 0) != 0) return std::nullopt;
    return file_status_of(raw);
}

bool file_is_link_at(int directory_fd, const char* name) {
    struct stat raw {};
    return fstatat(directory_fd, name, &raw, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(raw.st_mode);
}

bool File::close() {
    return fd_ < 0 || ::close(std::exchange(fd_, -1)) == 0;
}

std::optional<FileStatus> File::status() const {
    struct stat raw {};
    if (fstat(fd_, &raw) != 0) return std::nullopt;
    return file_status_of(raw);
}

std::size_t File::read_at(std::uint64_t offset, std::span<std::byte> into) const {
    std::size_t done = 0;
    while (done < into.size()) {
        const ssize_t n = pread(fd_, into.data() + done, into.size() - done, static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
    }
    return done;
}

bool File::write_all(std::string_view text) const {
    while (!text.empty()) {
        const ssize_t n = write(fd_, text.data(), text.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(n));
    }
    return true;
}

File file_open_regular(const std::string& path) {
    File file{open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)};
    if (!file) return file;
    const auto status = file.status();
    if (!status || !status->regular) {
        file.close();
        errno = EINVAL;
    }
    return file;
}

File file_create(const std::string& path) {
    // O_NONBLOCK: opening a FIFO without a reader fails instead of blocking the start.
    return File{open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666)};
}

Directory::Directory(const std::string& path) {
    open(AT_FDCWD, path.c_str());
}
Directory::Directory(int parent_fd, const char* name) {
    open(parent_fd, name);
}

Directory::~Directory() {
    if (stream_ != nullptr) closedir(stream_);
}

void Directory::open(int parent_fd, const char* name) {
    // Entering a directory needs search permission, listing it needs read permission. The log says which one is
    // missing, so the two steps are done separately.
    const int entered = openat(parent_fd, name, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (entered < 0 || faccessat(entered, ".", X_OK, AT_EACCESS) != 0) {
        failure_ = Failure::enter;
        if (entered >= 0) ::close(entered);
        return;
    }
    const int listed = openat(entered, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ::close(entered);
    stream_ = listed >= 0 ? fdopendir(listed) : nullptr;
    if (stream_ == nullptr) {
        failure_ = Failure::list;
        if (listed >= 0) ::close(listed);
    }
}

int Directory::fd() const {
    return stream_ != nullptr ? dirfd(stream_) : -1;
}

bool Directory::is_kernel_view() const {
    struct statfs system {};
    return fstatfs(fd(), &system) == 0 && (system.f_type == PROC_SUPER_MAGIC || system.f_type == SYSFS_MAGIC);
}

const char* Directory::next() {
    if (stream_ == nullptr) return nullptr;
    while (const dirent* entry = readdir(stream_)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) return entry->d_name;
    }
    return nullptr;
}
