#include "upnp/client_profile.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include "core/settings_table.h"

namespace {

constexpr Rendition kSmcEzStream[] = {{704, 528, 3}};
constexpr Rendition kDlinkDsm320[] = {{684, 456, 3}};
constexpr Rendition kGoVideoD2730[] = {{0, 0, 0}};
constexpr Rendition kTvRemote[] = {{720, 576, 1}, {120, 105, 1}};
constexpr Rendition kPhilipsStreamium[] = {{720, 576, 1}, {1024, 768, 1}, {120, 105, 1}, {69, 51, 1}};
constexpr Rendition kTini[] = {{320, 240, 1, ".tini.jpg"}};
// In the order of output. Kept on purpose: a profile is one of the listed size, whatever the picture's own, and
// JPEG_LRG_ICO is the one of 120 x 120.
constexpr Rendition kAnyOther[] = {
    {0, 0, 0},
    {684, 456, 3, ".yuv"},
    {136, 90, 1, ".yuv"},
    {160, 160, 1, ".jpg", "DLNA.ORG_PN=JPEG_TN"},
    {48, 48, 1, ".jpg", "DLNA.ORG_PN=JPEG_SM_ICO"},
    {640, 480, 1, ".jpg", "DLNA.ORG_PN=JPEG_SM"},
    {1024, 768, 1, ".jpg", "DLNA.ORG_PN=JPEG_MED"},
    {120, 120, 1, ".jpg", "DLNA.ORG_PN=JPEG_LRG_ICO"},
    {800, 600, 1, ".pjpg"},
};

constexpr auto kProfiles = std::to_array<ClientProfile>({
    {
        .kind = ClientKind::tv_remote,
        .name = "TV Remote Control Point",
        .user_agent = "Pelorama Remote CP",
        .takes_dlna_fields = true,
        .draws_descriptions = true,
        .renditions = kTvRemote,
    },
    {
        .kind = ClientKind::generic,
        .name = "Generic Media Receiver",
        .user_agent = "Pelorama Home-To-Home Gateway",
        .renditions = kAnyOther,
    },
    {
        .kind = ClientKind::philips_streamium,
        .name = "Philips Streamium",
        .user_agent = "Allegro-Software-WebClient/4.30",
        .takes_dlna_fields = true,
        .shows_plain_folders = true,
        .renditions = kPhilipsStreamium,
    },
    {
        .kind = ClientKind::roku_soundbridge,
        .name = "Roku Soundbridge",
        .user_agent = "Allegro-Software-WebClient/4.32",
        .music_only = true,
        .takes_m3u_containers = true,
        .renditions = kAnyOther,
        .search_capabilities = "*",
        .wants_each_title_once = true,
    },
    {
        .kind = ClientKind::noxon,
        .name = "Noxon Audio",
        .user_agent = "Mozilla/4.0 (compatible)",
        .proof = ClientProof{Setting::noxonclient, "/description.xml", "TerraTec"},
        .needs_close = true,
        .music_only = true,
        .takes_single_bytes = true,
        .renditions = kAnyOther,
    },
    {
        .kind = ClientKind::dlink_dsm320,
        .name = "D-Link DSM320",
        .user_agent = "POSIX, UPnP/1.0, Intel MicroStack/1.0.1423",
        .proof = ClientProof{Setting::dlinkclient, ":59089/", "<manufacturer>DLink</manufacturer>"},
        .shows_picture_thumbnail = true,
        .renditions = kDlinkDsm320,
    },
    {
        .kind = ClientKind::netgear_mp101,
        .name = "Netgear MP101",
        .search_mark = "Netgear MP101",
        .music_only = true,
        .takes_m3u_containers = true,
        .renditions = kAnyOther,
    },
    {
        .kind = ClientKind::go_video_d2730,
        .name = "Go.Video D2730",
        .search_mark = "MYNAME: \"D2730\"",
        .shows_icons = true,
        .renditions = kGoVideoD2730,
    },
    {
        .kind = ClientKind::linksys,
        .name = "LinkSys Wireless Music System",
        .object_id = "0\\Music\\",
        .needs_close = true,
        .music_only = true,
        .renditions = kAnyOther,
    },
    {
        .kind = ClientKind::sony,
        .name = "Sony Network Media Receiver",
        .renditions = kAnyOther,
        .adds_to_pinned_id = true,
    },
    {
        .kind = ClientKind::smc_ez_stream,
        .name = "SMC EZ-Stream",
        .renditions = kSmcEzStream,
    },
    {
        .kind = ClientKind::tini,
        .name = "Tini Image Renderer",
        .renditions = kTini,
    },
});

// The place of each kind's row in the table.
constexpr auto kRowOfKind = [] {
    std::array<std::size_t, kProfiles.size()> rows{};
    rows.fill(kProfiles.size());
    for (std::size_t row = 0; row < kProfiles.size(); ++row)
        rows.at(static_cast<std::size_t>(kProfiles[row].kind)) = row;
    return rows;
}();
static_assert(std::ranges::none_of(kRowOfKind, [](std::size_t row) { return row == kProfiles.size(); }),
              "every kind has a row");

}  // namespace

std::span<const ClientProfile> client_profiles() {
    return kProfiles;
}

const ClientProfile& client_profile(ClientKind kind) {
    return kProfiles[kRowOfKind[static_cast<std::size_t>(kind)]];
}
