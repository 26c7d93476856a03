// All that the server knows about kinds of clients: one row each, with the texts by which the kind is recognised and
// everything that is different for it. Code that answers a client reads the fields of its row and never asks for a
// kind.
//
// A new client is a new row. Nothing recognises the Sony, SMC and Tini rows yet: they say what those clients need.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "core/settings.h"

enum class ClientKind : std::uint8_t {
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

// One size and form in which a picture is offered.
struct Rendition {
    int width, height;  // 0: the picture's own
    int mode;           // how it is fitted into that size (meta/scale.h); 0 is the file as it is
    const char* suffix = ".jpg";
    const char* features = "*";  // the fourth field of protocolInfo
};

// Other devices send the same user agent, so a claim is proved before it counts: the address is configured, or the
// device's own description contains a text.
struct ClientProof {
    Setting addresses;
    std::string_view url_tail;  // of the description, after "http://ADDRESS"
    std::string_view text;
};

// Empty texts recognise nobody. Letter case counts: clients always write their texts in the same way.
struct ClientProfile {
    ClientKind kind;
    std::string_view name;  // for the log

    // Recognition.
    std::string_view user_agent = {};   // anywhere in a request header
    std::string_view search_mark = {};  // anywhere in an M-SEARCH
    std::string_view object_id = {};    // an ObjectID that no other kind asks for
    std::optional<ClientProof> proof = {};

    // Differences: connections and streaming.
    bool needs_close = false;  // every answer closes the connection
    bool music_only = false;   // starts in the music folder, and its streams are paced

    // Differences: lists.
    bool takes_dlna_fields = false;        // in the fourth field of protocolInfo
    bool takes_m3u_containers = false;     // a music folder is offered as one playlist, too
    bool takes_single_bytes = false;       // texts in Latin-1 instead of UTF-8
    bool shows_icons = false;              // of folders and pictures
    bool shows_plain_folders = false;      // every container is listed as a storage folder
    bool shows_picture_thumbnail = false;  // in a desc element after the renditions
    bool draws_descriptions = false;       // shows a picture's description itself
    std::span<const Rendition> renditions;

    // Differences: searches.
    std::string_view search_capabilities = {};  // empty: the properties that we name to everybody
    bool wants_each_title_once = false;
    bool adds_to_pinned_id = false;  // writes more criteria after `@id = "..."`, and means the id alone
};

// In the order of recognition: the first user agent that fits decides.
std::span<const ClientProfile> client_profiles();
const ClientProfile& client_profile(ClientKind kind);
