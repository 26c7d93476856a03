#include "upnp/clients.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <vector>

#include "core/log.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/str.h"
#include "net/client.h"

namespace {

constexpr std::size_t kMaxClients = 9;
constexpr std::size_t kMaxAddress = 19;
constexpr int kConfirmMs = 5000;  // the request that made us ask waits as long

constexpr std::array<std::string_view, 12> kKindNames{"Generic Media Receiver",
                                                      "Netgear MP101",
                                                      "D-Link DSM320",
                                                      "Sony Network Media Receiver",
                                                      "LinkSys Wireless Music System",
                                                      "TV Remote Control Point",
                                                      "SMC EZ-Stream",
                                                      "Go.Video D2730",
                                                      "Philips Streamium",
                                                      "Roku Soundbridge",
                                                      "Noxon Audio",
                                                      "Tini Image Renderer"};

struct Client {
    ClientKind kind;
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

// A kind that others pretend to be: confirmed by a text in the device's own description, unless the address is
// configured.
struct Confirmation {
    ClientKind kind;
    Setting configured;
    std::string_view url_tail;  // behind the address
    std::string_view proof;
};
constexpr auto kConfirmations = std::to_array<Confirmation>({
    {ClientKind::noxon, Setting::noxonclient, "/description.xml", "TerraTec"},
    {ClientKind::dlink_dsm320, Setting::dlinkclient, ":59089/", "<manufacturer>DLink</manufacturer>"},
});

const Confirmation* confirmation_for(ClientKind kind) {
    const auto found = std::ranges::find(kConfirmations, kind, &Confirmation::kind);
    return found != kConfirmations.end() ? &*found : nullptr;
}

bool is_listed(Setting setting, std::string_view address) {
    const auto addresses = settings_list(setting);
    return std::ranges::any_of(*addresses, [&](const std::string& item) { return str_trim(item) == address; });
}

std::string_view kind_name(ClientKind kind) {
    return kKindNames[static_cast<std::size_t>(kind)];
}

// What happened to the table, told once its lock is released.
struct Notice {
    const char* what = nullptr;  // null: nothing happened
    Client client{};
};

void log_notice(const Notice& notice) {
    if (notice.what == nullptr) return;
    log_message(LOG_INFO, LOG_CLIENTDB, "%s: %s %s\n", notice.what, notice.client.address.c_str(),
                kind_name(notice.client.kind).data());
}

// The functions below are called with the table's lock held.

Client* find_client(std::string_view address) {
    const auto found = std::ranges::find(table().known, address, &Client::address);
    return found != table().known.end() ? &*found : nullptr;
}

Notice change(Client& client, ClientKind kind) {
    // The two kinds that others pretend to be never replace what is known.
    if (client.kind == kind || confirmation_for(kind) != nullptr) return {};
    client.kind = kind;
    return {"changed", client};
}

Notice append(ClientKind kind, const std::string& address) {
    if (table().known.size() >= kMaxClients) return {};
    table().known.push_back({kind, address});
    return {"added", table().known.back()};
}

enum class Recorded { yes, after_asking };
// Records what can be recorded at once. Where the device has to be asked first, its address is noted as being asked;
// who is being asked already, or would be one too many, is not asked.
Recorded record(ClientKind kind, const std::string& address, bool must_ask, Notice& notice) {
    std::vector<std::string>& asking = table().asking;
    if (Client* const client = find_client(address)) {
        notice = change(*client, kind);
    } else if (!must_ask) {
        notice = append(kind, address);
    } else if (table().known.size() + asking.size() < kMaxClients &&
               std::ranges::find(asking, address) == asking.end()) {
        asking.push_back(address);
        return Recorded::after_asking;
    }
    return Recorded::yes;
}

Notice record_asked(ClientKind kind, const std::string& address) {
    std::erase(table().asking, address);
    return find_client(address) == nullptr ? append(kind, address) : Notice{};
}

// Not with the lock held: this takes as long as the device likes, up to kConfirmMs.
bool confirms(const Confirmation& confirmation, const std::string& address) {
    const std::string url = str_concat("http://" + address, confirmation.url_tail);
    const auto answer = http_talk(TalkMode::get, url, {}, {}, kConfirmMs);
    return answer && str_contains(answer->text(), confirmation.proof);
}

}  // namespace

ClientKind client_type(std::string_view address) {
    std::scoped_lock lock{table().mutex};
    const Client* const client = find_client(address);
    return client != nullptr ? client->kind : ClientKind::generic;
}

void set_client_type(ClientKind kind, std::string_view address_text) {
    const std::string address{address_text.substr(0, kMaxAddress)};
    const Confirmation* const confirmation = confirmation_for(kind);
    const bool must_ask = confirmation != nullptr && !is_listed(confirmation->configured, address);
    Notice notice;
    Recorded recorded;
    {
        std::scoped_lock lock{table().mutex};
        recorded = record(kind, address, must_ask, notice);
    }
    if (recorded == Recorded::after_asking) {
        const ClientKind found = confirms(*confirmation, address) ? kind : ClientKind::generic;
        std::scoped_lock lock{table().mutex};
        notice = record_asked(found, address);
    }
    log_notice(notice);
}

std::optional<KnownClient> client_at(std::size_t index) {
    std::scoped_lock lock{table().mutex};
    if (index >= table().known.size()) return std::nullopt;
    return KnownClient{table().known[index].address, kind_name(table().known[index].kind)};
}

bool is_music_client(std::string_view address) {
    switch (client_type(address)) {
        case ClientKind::netgear_mp101:
        case ClientKind::linksys:
        case ClientKind::roku_soundbridge:
        case ClientKind::noxon:
            return true;
        default:
            return is_listed(Setting::musicclient, address);
    }
}

bool client_is_dlna(ClientKind kind) {
    return kind == ClientKind::tv_remote || kind == ClientKind::philips_streamium;
}

bool client_takes_m3u_containers(ClientKind kind) {
    return kind == ClientKind::netgear_mp101 || kind == ClientKind::roku_soundbridge;
}

bool client_needs_close(ClientKind kind) {
    return kind == ClientKind::linksys || kind == ClientKind::noxon;
}

void clients_register_configured() {
    for (const Confirmation& confirmation : kConfirmations)
        for (const std::string& item : *settings_list(confirmation.configured))
            if (const std::string_view address = str_trim(item); !address.empty())
                set_client_type(confirmation.kind, address);
}

void clients_reset() {
    std::scoped_lock lock{table().mutex};
    table().known.clear();
}
