#include "core/process.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>

#include "core/file.h"
#include "core/process_wide.h"
#include "core/str.h"
#include "core/thread.h"

namespace {

constexpr std::size_t kLongestHostPort = 127;
constexpr const char* kPidFile = "/var/run/mediaserver.pid";

struct ServerName {
    std::mutex mutex;  // a restart changes the text while others read it
    std::string host_port;
};
ServerName& server_name() {
    return process_wide<ServerName>();
}

void write_pid_file() {
    // An ordinary user may not write this file, which is no error.
    const File file = file_create(kPidFile);
    if (file) static_cast<void>(file.write_all(text_format(32, "%d\n", getpid())));
}

void detach_output() {
    std::fflush(nullptr);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (null < 0) return print_error("/dev/null");
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    if (null > STDERR_FILENO) close(null);
}

}  // namespace

void set_server_host_port(std::string_view host_port) {
    std::scoped_lock lock{server_name().mutex};
    server_name().host_port = host_port.substr(0, kLongestHostPort);
}

std::string server_host_port() {
    std::scoped_lock lock{server_name().mutex};
    return server_name().host_port;
}

void daemonize() {
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    std::fflush(nullptr);  // otherwise both processes would write the buffered output
    const pid_t child = fork();
    if (child < 0) {
        print_error("fork");
        std::exit(EXIT_FAILURE);
    }
    if (child > 0) _exit(EXIT_SUCCESS);
    write_pid_file();
    detach_output();
}

void occupy_standard_descriptors() {
    int null = open("/dev/null", O_RDWR);
    while (null >= 0 && null <= STDERR_FILENO) null = open("/dev/null", O_RDWR);
    if (null >= 0) close(null);
}

void raise_descriptor_limit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max) return;
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) print_error("setrlimit");
}

void share_heaps() {
    constexpr int kHeaps = 2;
    constexpr int kLargeBytes = 256 * 1024;
    mallopt(M_ARENA_MAX, kHeaps);
    // Fixed thresholds: by default they grow with the largest block ever freed, and that much stays in the heap.
    mallopt(M_MMAP_THRESHOLD, kLargeBytes);
    mallopt(M_TRIM_THRESHOLD, kLargeBytes);
}

void ignore_broken_pipes() {
    std::signal(SIGPIPE, SIG_IGN);
}

sigset_t block_shutdown_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGABRT, SIGTERM}) sigaddset(&signals, signal);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

int wait_for_shutdown_signal(const sigset_t& signals) {
    int signal = 0;
    while (sigwait(&signals, &signal) != 0) {
    }
    return signal;
}
