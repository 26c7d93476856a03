// How it works. Every subscriber has a slot with an outbox of events; an event gets its number (SEQ) when it is put
// there.
//
//   change of the content -> outbox of each slot -> sender thread of the slot -> NOTIFY to the callback
//
// A slot has at most one sender, so its events leave in order. The sender starts with the first event and ends when the
// outbox is empty or the SID of the slot is no longer the one that it serves. Outboxes are short: the oldest event
// gives way. New subscribers are greeted with the state of their services before they hear of changes.
#include "upnp/gena.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/socket.h"
#include "core/str.h"
#include "core/thread.h"
#include "core/time_text.h"
#include "db/store.h"
#include "http/request.h"
#include "http/respond.h"
#include "upnp/device_id.h"
#include "upnp/gena_delivery.h"
#include "upnp/gena_message.h"
#include "upnp/protocol_info.h"

namespace {

constexpr std::int64_t kTickMs = 2000;
constexpr std::int64_t kSettleMs = 100;
constexpr std::size_t kReplyBytes = 512;
// A subscriber that takes nothing misses events rather than filling the memory with them.
constexpr std::size_t kMostWaiting = 4;
// The sender thread of an unsubscribed client may outlive its slot, for as long as a dead address or a slow name server
// keeps it.
constexpr int kMostSenders = 64;

struct Event {
    std::shared_ptr<const std::string> body;
    std::int32_t seq = 0;
};

struct Subscriber {
    std::string callback;  // empty: a free slot
    unsigned services = 0;
    std::uint32_t sid = 0;
    std::int64_t expiry = 0;  // seconds of the clock that gives the SIDs. Kept on purpose: nobody is removed by it.
    std::int32_t seq = 0;
    bool greeted = false;  // has had its first events, or they wait in the outbox
    bool sending = false;  // a thread empties the outbox
    std::deque<Event> outbox;

    bool used() const { return !callback.empty(); }
};

struct SubscriberTable {
    std::mutex mutex;
    std::array<Subscriber, kSubscriberSlots> slots;
    bool enabled = false;
    std::uint32_t last_sid = 0;
    std::int32_t last_update_id = 0;  // that was told to all
    int senders = 0;                  // threads that empty an outbox
};
SubscriberTable& table() {
    return process_wide<SubscriberTable>();
}

// Milliseconds that only grow, and do not begin again with the process: a subscriber that renews what it had from an
// earlier run must not meet somebody else's subscription.
std::int64_t clock_ms() {
    using namespace std::chrono;
    static const std::int64_t base =
        duration_cast<milliseconds>(system_clock::now().time_since_epoch() - steady_clock::now().time_since_epoch())
            .count();
    return base + duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

Subscriber* find_sid(SubscriberTable& all, std::uint32_t sid) {
    const auto found =
        std::ranges::find_if(all.slots, [&](const Subscriber& slot) { return slot.used() && slot.sid == sid; });
    return found == all.slots.end() ? nullptr : &*found;
}

std::uint32_t fresh_sid(SubscriberTable& all) {
    auto sid = static_cast<std::uint32_t>(clock_ms());
    if (static_cast<std::int32_t>(sid - all.last_sid) <= 0 && all.last_sid != 0) sid = all.last_sid + 1;
    return all.last_sid = sid;
}

// ---- sending

struct Parcel {
    std::string callback;
    Event event;
};
// The subscriber's next event; nullopt if there is none or the subscription is gone: then its thread has to end.
std::optional<Parcel> next_parcel(int slot, std::uint32_t sid) {
    SubscriberTable& all = table();
    std::scoped_lock lock{all.mutex};
    Subscriber& subscriber = all.slots[static_cast<std::size_t>(slot)];
    if (!subscriber.used() || subscriber.sid != sid) return std::nullopt;
    if (!all.enabled || subscriber.outbox.empty()) {
        subscriber.sending = false;
        return std::nullopt;
    }
    Parcel parcel{.callback = subscriber.callback, .event = std::move(subscriber.outbox.front())};
    subscriber.outbox.pop_front();
    return parcel;
}

void empty_outbox(int slot, std::uint32_t sid) {
    while (const auto parcel = next_parcel(slot, sid))
        gena_deliver(parcel->callback, sid, parcel->event.seq, *parcel->event.body);
    std::scoped_lock lock{table().mutex};
    --table().senders;
}

// Under the table's lock: starts a thread that empties the outbox, unless there is one. If the system has no thread
// left, the ticker tries again.
void start_sender(SubscriberTable& all, int slot) {
    Subscriber& subscriber = all.slots[static_cast<std::size_t>(slot)];
    if (subscriber.outbox.empty() || subscriber.sending || all.senders >= kMostSenders) return;
    const std::uint32_t sid = subscriber.sid;
    subscriber.sending = thread_start_detached([slot, sid] { empty_outbox(slot, sid); });
    if (subscriber.sending) ++all.senders;
}

void start_waiting_senders() {
    SubscriberTable& all = table();
    std::scoped_lock lock{all.mutex};
    for (int slot = 0; slot < kSubscriberSlots; ++slot) start_sender(all, slot);
}

// Under the table's lock.
void enqueue(SubscriberTable& all, int slot, std::shared_ptr<const std::string> body) {
    Subscriber& subscriber = all.slots[static_cast<std::size_t>(slot)];
    subscriber.outbox.push_back({.body = std::move(body), .seq = subscriber.seq});
    subscriber.seq = subscriber.seq == std::numeric_limits<std::int32_t>::max() ? 1 : subscriber.seq + 1;
    if (subscriber.outbox.size() > kMostWaiting) subscriber.outbox.pop_front();
    start_sender(all, slot);
}

void enqueue(SubscriberTable& all, int slot, std::string body) {
    enqueue(all, slot, std::make_shared<const std::string>(std::move(body)));
}

void log_update_id_event(const std::string& body) {
    log_message(LOG_INFO, LOG_EVENTING, "sending update ID event:\n%s\n\n", body.c_str());
}

// ---- subscribing

struct Subscription {
    int slot = -1;
    std::uint32_t sid = 0;
};

// Takes the highest free slot; nullopt if there is none or eventing is off.
std::optional<Subscription> take_slot(const std::string& callback, unsigned services, std::int32_t timeout) {
    SubscriberTable& all = table();
    std::scoped_lock lock{all.mutex};
    for (int slot = all.enabled ? kSubscriberSlots - 1 : -1; slot >= 0; --slot) {
        Subscriber& free = all.slots[static_cast<std::size_t>(slot)];
        if (free.used()) continue;
        free = {};
        free.callback = callback;
        free.services = services;
        free.sid = fresh_sid(all);
        free.expiry = clock_ms() / 1000 + timeout;
        return Subscription{.slot = slot, .sid = free.sid};
    }
    return std::nullopt;
}

// False when nobody has it.
bool free_slot(std::uint32_t sid) {
    SubscriberTable& all = table();
    std::scoped_lock lock{all.mutex};
    Subscriber* const subscriber = find_sid(all, sid);
    if (subscriber != nullptr) *subscriber = {};
    return subscriber != nullptr;
}

bool still_there(const SubscriberTable& all, const Subscription& subscription) {
    const Subscriber& slot = all.slots[static_cast<std::size_t>(subscription.slot)];
    return all.enabled && slot.used() && slot.sid == subscription.sid;
}

// Sends the first events of a subscription, a moment after the answer to it. Changes that are told to all until then do
// not go to this subscriber.
void greet(const Subscription& subscription) {
    sleep_ms(kSettleMs);
    const std::int32_t update_id = db_system_update_id();
    std::string content;
    {
        SubscriberTable& all = table();
        std::scoped_lock lock{all.mutex};
        if (!still_there(all, subscription)) return;
        Subscriber& slot = all.slots[static_cast<std::size_t>(subscription.slot)];
        if ((slot.services & kContentDirectoryEvents) != 0) {
            content = gena_update_id_body(std::max(update_id, all.last_update_id), {});
            enqueue(all, subscription.slot, content);
        }
        if ((slot.services & kConnectionManagerEvents) != 0)
            enqueue(all, subscription.slot, gena_cm_body(kSourceProtocolInfo, kSinkProtocolInfo));
        slot.greeted = true;
    }
    if (!content.empty()) log_update_id_event(content);
}

HandlerResult refuse(const HttpRequest& request, HttpResponse& response, int status) {
    response.status = status;
    return http_send_header(request, response) ? HandlerResult::keep : HandlerResult::close;
}

bool move_expiry(std::uint32_t sid, std::int32_t timeout) {
    SubscriberTable& all = table();
    std::scoped_lock lock{all.mutex};
    Subscriber* const subscriber = all.enabled ? find_sid(all, sid) : nullptr;
    if (subscriber != nullptr) subscriber->expiry = clock_ms() / 1000 + timeout;
    return subscriber != nullptr;
}

HandlerResult renew(const HttpRequest& request, HttpResponse& response, std::uint32_t sid, std::int32_t timeout) {
    if (!move_expiry(sid, timeout)) return refuse(request, response, 412);
    // Kept on purpose: "Second" here, "second" for a new subscription, and only here the time that was asked for.
    socket_send_all(request.socket,
                    text_format(kReplyBytes,
                                "HTTP/1.1 200 OK\r\nDATE: %s\r\nSERVER: %s\r\nSID: uuid:%lu\r\n"
                                "TIMEOUT: Second-%d\r\n\r\n",
                                http_date().c_str(), kServerSignature, static_cast<unsigned long>(sid), timeout));
    return HandlerResult::close;
}

bool is_enabled() {
    SubscriberTable& all = table();
    std::scoped_lock lock{all.mutex};
    return all.enabled;
}

// Tells every subscriber of the content that has had its first events. A delivery that fails is silent: the subscriber
// stays, its event key goes on.
void send_update_ids(const ChangedContent& changed) {
    if (!is_enabled()) return;
    const auto body = std::make_shared<const std::string>(
        gena_update_id_body(changed.system_update_id, changed.container_update_ids));
    log_update_id_event(*body);
    SubscriberTable& all = table();
    std::scoped_lock lock{all.mutex};
    if (!all.enabled) return;
    all.last_update_id = changed.system_update_id;
    for (int slot = 0; slot < kSubscriberSlots; ++slot) {
        const Subscriber& subscriber = all.slots[static_cast<std::size_t>(slot)];
        if (subscriber.greeted && (subscriber.services & kContentDirectoryEvents) != 0) enqueue(all, slot, body);
    }
}

}  // namespace

void gena_init() {
    SubscriberTable& all = table();
    std::scoped_lock lock{all.mutex};
    all.slots = {};
    all.last_update_id = 0;
    all.enabled = true;
}

void gena_shutdown() {
    SubscriberTable& all = table();
    {
        std::scoped_lock lock{all.mutex};
        all.enabled = false;
    }
    sleep_ms(kSettleMs);
    std::scoped_lock lock{all.mutex};
    all.slots = {};
}

HandlerResult handle_subscribe(const HttpRequest& request, HttpResponse& response) {
    if (!is_enabled()) return HandlerResult::close;
    const SubscribeHeader asked = gena_parse_subscribe(request.header);
    if (asked.sid) return renew(request, response, *asked.sid, asked.timeout);
    if (!asked.callback) return refuse(request, response, 412);
    const auto subscription = take_slot(*asked.callback, gena_services_of(request.url), asked.timeout);
    if (!subscription) return refuse(request, response, 500);
    if (!thread_start_detached([subscription] { greet(*subscription); })) {
        free_slot(subscription->sid);
        return refuse(request, response, 500);
    }

    constexpr long kGranted = 300;
    socket_send_all(request.socket, text_format(kReplyBytes,
                                                "HTTP/1.1 200 OK\r\nDATE: %s\r\nSERVER: %s\r\nSID: uuid:%lu\r\n"
                                                "TIMEOUT: second-%ld\r\n\r\n",
                                                http_date().c_str(), kServerSignature,
                                                static_cast<unsigned long>(subscription->sid), kGranted));
    return HandlerResult::close;  // the answer has no length
}

HandlerResult handle_unsubscribe(const HttpRequest& request, HttpResponse& response) {
    if (!is_enabled()) return HandlerResult::close;
    const auto sid = gena_parse_unsubscribe(request.header);
    if (!sid || !free_slot(*sid)) return refuse(request, response, 412);
    return http_send_text(request, response, "text/xml; charset=\"UTF-8\"", {});
}

void gena_start_ticker(RunningFlag& running) {
    thread_start_flagged(running, [&running] {
        while (sleep_while_running(running, kTickMs)) {
            if (const auto changed = db_event_pass()) send_update_ids(*changed);
            start_waiting_senders();
        }
    });
}
