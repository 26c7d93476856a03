// Clients differ in what they can handle: the server remembers, per address, which kind of device it has seen there.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

enum class ClientKind : int {
    generic = 0,
    netgear_mp101 = 1,
    dlink_dsm320 = 2,
    sony = 3,
    linksys = 4,
    tv_remote = 5,
    smc_ez_stream = 6,
    go_video_d2730 = 7,
    philips_streamium = 8,
    roku_soundbridge = 9,
    noxon = 10,
    tini = 11,
};

ClientKind client_type(std::string_view address);  // generic for an address that is not known

// Records or changes the kind seen at an address. A claimed Noxon or D-Link is confirmed by its own description first,
// which may take up to 5 s; one address is asked once.
void set_client_type(ClientKind kind, std::string_view address);

struct KnownClient {
    std::string address;
    std::string_view kind_name;
};
std::optional<KnownClient> client_at(std::size_t index);

// Music-only clients start in the music folder and are paced while they stream: kinds 1, 4, 9 and 10, and every
// address of the setting `musicclient`.
bool is_music_client(std::string_view address);

bool client_is_dlna(ClientKind kind);               // 5 and 8
bool client_takes_m3u_containers(ClientKind kind);  // 1 and 9
bool client_needs_close(ClientKind kind);           // 4 and 10: every answer closes the connection

// The addresses of the settings `dlinkclient` and `noxonclient`, at start.
void clients_register_configured();
void clients_reset();
