#include "upnp/renditions.h"

#include <span>
#include <string>

#include "core/str.h"

namespace {

constexpr std::size_t kMaxElementBytes = 1024;

struct Rendition {
    int width, height;  // 0: the picture's own
    int mode;           // 0 is the file as it is
    const char* suffix = ".jpg";
    const char* profile = "*";  // the fourth field of protocolInfo
};

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

std::span<const Rendition> renditions_for(ClientKind kind) {
    switch (kind) {
        case ClientKind::smc_ez_stream:
            return kSmcEzStream;
        case ClientKind::dlink_dsm320:
            return kDlinkDsm320;
        case ClientKind::go_video_d2730:
            return kGoVideoD2730;
        case ClientKind::tv_remote:
            return kTvRemote;
        case ClientKind::philips_streamium:
            return kPhilipsStreamium;
        case ClientKind::tini:
            return kTini;
        default:
            return kAnyOther;
    }
}

const char* mime_of(std::string_view suffix) {
    if (suffix == ".yuv") return "image/x-ycbcr-yuv420";
    return suffix == ".pjpg" ? "image/pjpeg" : "image/jpeg";
}

}  // namespace

void picture_append_res(const PictureClient& client, TextBuffer& output, ObjectId id, const MediaItem& item) {
    if (item.object_class != ObjectClass::photo) return;
    const std::string base{client.base_url};
    for (const Rendition& rendition : renditions_for(client.kind)) {
        const int width = rendition.width == 0 ? item.width : rendition.width;
        const int height = rendition.height == 0 ? item.height : rendition.height;
        output.append(text_format(64, "&lt;res resolution=\"%dx%d\" ", width, height));
        output.append(
            text_format(kMaxElementBytes, "protocolInfo=\"http-get:*:%s:%s\"&gt;%s%s/%d(%dx%d,%d)%s&lt;/res&gt;",
                        mime_of(rendition.suffix), rendition.profile, base.c_str(),
                        rendition.mode == 0 ? "disk" : "picture", id, width, height, rendition.mode, rendition.suffix));
    }
    if (client.kind == ClientKind::dlink_dsm320) {
        output.append(text_format(kMaxElementBytes,
                                  "&lt;desc&gt;&lt;DA dir=\"0\"&gt;%spicture/%d(120x90,1).jpg&lt;/DA&gt;&lt;/desc&gt;",
                                  base.c_str(), id));
    }
}

void picture_append_icon(const PictureClient& client, TextBuffer& output, ObjectId id, const MediaItem& item) {
    if (client.kind != ClientKind::go_video_d2730 || item.object_class != ObjectClass::photo) return;
    output.append(text_format(kMaxElementBytes, "&lt;icon&gt;%spicture/%d(168x112,1).goicon.jpg&lt;/icon&gt;",
                              std::string{client.base_url}.c_str(), id));
}
