// How a client is learned. A request header, an M-SEARCH or an ObjectID claims that a kind of client is at an address:
//
//   claim -- no proof needed, or the address is configured -----> known: address -> profile
//       \--- proof needed --> asking: address -- fetched ------> known: the kind, or generic without the proof
//
// At most nine addresses are known or asked together, and none is ever forgotten. The description that proves a kind is
// fetched on the thread of the request that made the claim, without the lock; other requests of that address are
// answered as a generic client until then.
#include "upnp/clients.h"

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "http/request.h"
#include "net/client.h"
#include "upnp/client_profile.h"

namespace {

constexpr std::size_t kMaxClients = 9;
constexpr std::size_t kMaxAddress = 19;
constexpr int kConfirmMs = 5000;  // the request that made us ask waits for it

struct Client {
    const ClientProfile* profile = nullptr;
    std::string address;
};
struct ClientTable {
    std::mutex mutex;
    std::vector<Client> known;        // at most kMaxClients, only ever grows
    std::vector<std::string> asking;  // addresses that are being asked who they are
};
ClientTable& table() {
    return process_wide<ClientTable>();
}

bool is_listed(Setting setting, std::string_view address) {
    const auto addresses = settings_list(setting);
    return std::ranges::any_of(*addresses, [&](const std::string& item) { return str_trim(item) == address; });
}

// What happened to the table; logged when its lock is released.
struct Notice {
    const char* what = nullptr;  // null: nothing happened
    Client client{};
};

void log_notice(const Notice& notice) {
    if (notice.what == nullptr) return;
    log_message(LOG_INFO, LOG_CLIENTDB, "%s: %s %s\n", notice.what, notice.client.address.c_str(),
                std::string{notice.client.profile->name}.c_str());
}

// The functions below are called with the table's lock held.

Client* find_client(std::string_view address) {
    const auto found = std::ranges::find(table().known, address, &Client::address);
    return found != table().known.end() ? &*found : nullptr;
}

Notice change(Client& client, const ClientProfile& profile) {
    // A kind that needs a proof never replaces what is known.
    if (client.profile == &profile || profile.proof) return {};
    client.profile = &profile;
    return {"changed", client};
}

Notice append(const ClientProfile& profile, const std::string& address) {
    if (table().known.size() >= kMaxClients) return {};
    table().known.push_back({&profile, address});
    return {"added", table().known.back()};
}

enum class Recorded { yes, after_asking };
// Records what can be recorded at once. If the client has to be asked first, notes its address as being asked. An
// address that is being asked already is not asked again, and neither is one that would find the table full.
Recorded record(const ClientProfile& profile, const std::string& address, bool must_ask, Notice& notice) {
    std::vector<std::string>& asking = table().asking;
    if (Client* const client = find_client(address)) {
        notice = change(*client, profile);
    } else if (!must_ask) {
        notice = append(profile, address);
    } else if (table().known.size() + asking.size() < kMaxClients &&
               std::ranges::find(asking, address) == asking.end()) {
        asking.push_back(address);
        return Recorded::after_asking;
    }
    return Recorded::yes;
}

Notice record_asked(const ClientProfile& profile, const std::string& address) {
    std::erase(table().asking, address);
    return find_client(address) == nullptr ? append(profile, address) : Notice{};
}

// Called without the lock: takes as long as the client likes, up to kConfirmMs.
bool is_proved(const ClientProof& proof, const std::string& address) {
    const std::string url = str_concat("http://" + address, proof.url_tail);
    const auto answer = http_talk(TalkMode::get, url, {}, {}, kConfirmMs);
    return answer && str_contains(answer->text(), proof.text);
}

}  // namespace

RequestClient client_of(std::string_view address) {
    const ClientProfile* profile = nullptr;
    {
        std::scoped_lock lock{table().mutex};
        const Client* const client = find_client(address);
        profile = client != nullptr ? client->profile : &client_profile(ClientKind::generic);
    }
    return {.profile = profile,
            .needs_close = profile->needs_close,
            .music_only = profile->music_only || is_listed(Setting::musicclient, address)};
}

void set_client_kind(ClientKind kind, std::string_view address_text) {
    const ClientProfile& profile = client_profile(kind);
    const std::string address{address_text.substr(0, kMaxAddress)};
    const bool must_ask = profile.proof && !is_listed(profile.proof->addresses, address);
    Notice notice;
    Recorded recorded;
    {
        std::scoped_lock lock{table().mutex};
        recorded = record(profile, address, must_ask, notice);
    }
    if (recorded == Recorded::after_asking && profile.proof) {
        const bool proved = is_proved(*profile.proof, address);
        std::scoped_lock lock{table().mutex};
        notice = record_asked(proved ? profile : client_profile(ClientKind::generic), address);
    }
    log_notice(notice);
}

RequestClient client_recognise(std::string_view header, std::string_view address) {
    const auto profiles = client_profiles();
    const auto found = std::ranges::find_if(profiles, [&](const ClientProfile& profile) {
        return !profile.user_agent.empty() && str_contains(header, profile.user_agent);
    });
    if (found != profiles.end()) set_client_kind(found->kind, address);
    return client_of(address);
}

RequestClient client_learn_from_object_id(const RequestClient& client, std::string_view object_id,
                                          std::string_view address) {
    const auto profiles = client_profiles();
    const auto found = std::ranges::find(profiles, object_id, &ClientProfile::object_id);
    if (client.music_only || object_id.empty() || found == profiles.end()) return client;
    set_client_kind(found->kind, address);
    return client_of(address);
}

std::optional<KnownClient> client_at(std::size_t index) {
    std::scoped_lock lock{table().mutex};
    if (index >= table().known.size()) return std::nullopt;
    return KnownClient{table().known[index].address, table().known[index].profile->name};
}

void clients_register_configured() {
    for (const ClientProfile& profile : client_profiles()) {
        if (!profile.proof) continue;
        for (const std::string& item : *settings_list(profile.proof->addresses))
            if (const std::string_view address = str_trim(item); !address.empty())
                set_client_kind(profile.kind, address);
    }
}

void clients_reset() {
    std::scoped_lock lock{table().mutex};
    table().known.clear();
}
