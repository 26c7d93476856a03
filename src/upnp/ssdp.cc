#include "upnp/ssdp.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string_view>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/socket.h"
#include "core/thread.h"
#include "core/time_text.h"
#include "upnp/announcement.h"
#include "upnp/client_profile.h"
#include "upnp/clients.h"
#include "upnp/device_id.h"
#include "upnp/heartbeat.h"
#include "upnp/msearch.h"
#include "upnp/packet_handlers.h"
#include "upnp/search_jobs.h"
#include "upnp/ssdp_message.h"
#include "upnp/ssdp_sockets.h"

namespace {

using namespace std::chrono_literals;

constexpr int kListenSliceMs = 500;   // the flag is looked at this often, should a wake-up be missed
constexpr auto kAnswerSlice = 500ms;  // likewise
constexpr int kBrokenSocketPauseMs = 100;
constexpr int kRounds = 3;  // datagrams get lost: everything is said three times
constexpr std::string_view kEveryTarget = "ssdp:all";

struct RoleState {
    std::atomic<unsigned> roles{0};
};
RoleState& role_state() {
    return process_wide<RoleState>();
}

// Not rand(): listings are shuffled with its sequence and must come out the same for the same seed.
unsigned random_number() {
    thread_local std::minstd_rand generator{std::random_device{}()};
    return static_cast<unsigned>(generator());
}

SsdpDevice device_on(const SsdpInstance& instance) {
    return {.id = ssdp_device_id(),
            .address = ipv4_text(instance.address),
            .http_port = instance.http_port,
            .roles = ssdp_roles()};
}

void announce(const SsdpInstance& instance, int socket) {
    for (int round = 0; round < kRounds; ++round) {
        ssdp_send_all(instance, socket, ssdp_group(), kEveryTarget, SsdpMessage::alive);
    }
}

void answer(const SsdpInstance& instance, const SearchJob& job) {
    // The server went silent after the search arrived: it is not answered.
    if (announcement_mode() == AnnouncementMode::silent) return;
    // Gives up a requester that cannot be reached at its first message, because others wait for their turn.
    bool reached = true;
    for (int round = 0; round < kRounds && reached; ++round) {
        reached =
            ssdp_send_all(instance, instance.reply_socket.fd(), job.requester, job.target, SsdpMessage::search_reply);
    }
}

struct Datagram {
    std::string_view text;
    sockaddr_in sender{};
};

// Waits for the next datagram. Returns nullopt if none came within the slice or the socket was shut down.
std::optional<Datagram> receive(SsdpInstance& instance, std::array<char, kMaxPacketBytes>& buffer) {
    const int fd = instance.listen_socket.fd();
    if (!socket_wait_readable(fd, kListenSliceMs)) return std::nullopt;

    Datagram datagram;
    socklen_t sender_size = sizeof datagram.sender;
    const ssize_t n = recvfrom(fd, buffer.data(), buffer.size(), MSG_DONTWAIT,
                               reinterpret_cast<sockaddr*>(&datagram.sender), &sender_size);
    const bool interrupted = n < 0 && (errno == EAGAIN || errno == EINTR);
    if (interrupted) return std::nullopt;
    if (n < 0 || datagram.sender.sin_family != AF_INET) {
        // Shut down, or the interface is gone: poll reports it at once each time, so sleep to keep this from spinning.
        if (instance.listen_running.running()) sleep_ms(kBrokenSocketPauseMs);
        return std::nullopt;
    }
    const std::string_view text{buffer.data(), static_cast<std::size_t>(n)};
    datagram.text = text.substr(0, text.find('\0'));
    return datagram;
}

// Waits for the next job that is due. Returns nullopt if none became due within the slice.
std::optional<SearchJob> wait_for_due_search(SsdpInstance& instance) {
    std::unique_lock lock{instance.searches_mutex};
    const auto now = std::chrono::steady_clock::now();
    if (auto job = instance.searches.take_due(now)) return job;
    if (!instance.msearch_running.running()) return std::nullopt;
    const auto due = instance.searches.next_due().value_or(SearchJobs::Time::max());
    instance.searches_changed.wait_until(lock, std::min(due, now + kAnswerSlice));
    return std::nullopt;
}

void start_thread(const std::shared_ptr<SsdpInstance>& instance, RunningFlag SsdpInstance::*flag,
                  void (*routine)(SsdpInstance&)) {
    thread_start_flagged((*instance).*flag, [instance, routine] { routine(*instance); });
}

}  // namespace

unsigned ssdp_roles() {
    return role_state().roles.load();
}
void ssdp_set_roles(unsigned roles) {
    role_state().roles.store(roles);
}

void ssdp_register_msearch_handler() {
    register_callback_handler(ssdp_handle_msearch, "M-Search");
    ssdp_set_roles(ssdp_roles() | ROLE_MEDIA_SERVER);
}

bool ssdp_open_sockets(SsdpInstance& instance) {
    int reason = 0;
    const auto opened = [&reason](Socket s) {
        if (!s && reason == 0) reason = errno;
        return s;
    };
    instance.listen_socket = opened(ssdp_listening_socket(instance.address));
    instance.reply_socket = opened(ssdp_reply_socket(instance.address, kReplyPort));
    if ((ssdp_roles() & ROLE_EXTRA_SOCKET) != 0) {
        instance.extra_socket = opened(ssdp_reply_socket(instance.address, kExtraReplyPort));
    }
    errno = reason;
    return reason == 0;
}

void ssdp_start_threads(const std::shared_ptr<SsdpInstance>& instance) {
    start_thread(instance, &SsdpInstance::listen_running, ssdp_listen_thread);
    start_thread(instance, &SsdpInstance::heartbeat_running, ssdp_heartbeat_thread);
    start_thread(instance, &SsdpInstance::msearch_running, ssdp_msearch_thread);
}

void ssdp_wake(SsdpInstance& instance) {
    for (const Socket* s : {&instance.listen_socket, &instance.reply_socket, &instance.extra_socket}) {
        if (*s) socket_shutdown(s->fd());
    }
    // Under the lock: a thread that has checked its flag but does not wait yet would miss this.
    std::scoped_lock lock{instance.searches_mutex};
    instance.searches_changed.notify_all();
}

void ssdp_listen_thread(SsdpInstance& instance) {
    sleep_ms(random_number() % 100);
    std::array<char, kMaxPacketBytes> buffer{};
    while (instance.listen_running.running()) {
        const auto datagram = receive(instance, buffer);
        if (!datagram || announcement_mode() != AnnouncementMode::announcing) continue;
        for (const PacketHandler handler : callback_handlers()) handler(datagram->text, instance, datagram->sender);
    }
    log_message(LOG_INFO, LOG_SSDP, "### SSDP terminated listen thread\n");
}

void ssdp_heartbeat_thread(SsdpInstance& instance) {
    const Socket socket = ssdp_announcing_socket(instance.address);
    if (!socket) {
        log_message(LOG_PROBLEM, LOG_SSDP, "no socket for announcements on %s: %s\n", instance.interface_name.c_str(),
                    error_text().c_str());
        return;
    }
    log_message(LOG_INFO, LOG_SSDP, "SSDP heartbeat started for %s\n", instance.interface_name.c_str());
    // Control points may still hold an announcement of a run that could not withdraw it.
    ssdp_send_byebye(instance, socket.fd());

    Heartbeat heartbeat{announcement_mode()};
    while (instance.heartbeat_running.running()) {
        const HeartbeatAction action = heartbeat.tick(announcement_mode());
        if (action == HeartbeatAction::announce) announce(instance, socket.fd());
        if (action == HeartbeatAction::withdraw) ssdp_send_byebye(instance, socket.fd());
        sleep_ms(kHeartbeatTickMs);
    }
    ssdp_send_byebye(instance, socket.fd());
    log_message(LOG_INFO, LOG_SSDP, "SSDP heartbeat stopped for %s\n", instance.interface_name.c_str());
}

void ssdp_msearch_thread(SsdpInstance& instance) {
    while (instance.msearch_running.running()) {
        if (const auto job = wait_for_due_search(instance)) answer(instance, *job);
    }
}

void ssdp_handle_msearch(std::string_view packet, SsdpInstance& instance, const sockaddr_in& sender) {
    const auto search = msearch_parse(packet);
    if (!search) return;
    for (const ClientKind kind : search->senders) set_client_kind(kind, ipv4_text(sender.sin_addr));
    // Most searches in a home are for other devices: they need not become jobs.
    if (!ssdp_offers(device_on(instance), search->target)) return;

    const std::chrono::seconds delay{msearch_delay(random_number(), search->max_wait)};
    std::scoped_lock lock{instance.searches_mutex};
    if (instance.searches.add(std::chrono::steady_clock::now() + delay, {search->target, sender})) {
        instance.searches_changed.notify_all();
    }
}

bool ssdp_send_all(const SsdpInstance& instance, int socket, const sockaddr_in& to, std::string_view target,
                   SsdpMessage kind) {
    for (const std::string& message : ssdp_messages(device_on(instance), target, kind, http_date())) {
        if (!ssdp_send(socket, to, message)) return false;
    }
    return true;
}

void ssdp_send_byebye(const SsdpInstance& instance, int socket) {
    for (const std::string& message : ssdp_byebye_messages(device_on(instance))) {
        ssdp_send(socket, ssdp_group(), message);
    }
}
