#include "upnp/renditions.h"

#include <cstddef>
#include <string>
#include <string_view>

#include "core/str.h"
#include "core/text_buffer.h"
#include "db/objects.h"
#include "upnp/client_profile.h"
#include "upnp/protocol_info.h"

namespace {

constexpr std::size_t kMaxElementBytes = 1024;

const char* mime_of(std::string_view suffix) {
    if (suffix == ".yuv") return "image/x-ycbcr-yuv420";
    return suffix == ".pjpg" ? "image/pjpeg" : "image/jpeg";
}

}  // namespace

void picture_append_res(TextBuffer& output, const ClientProfile& client, const std::string& base_url, ObjectId id,
                        const MediaItem& item) {
    if (item.object_class != ObjectClass::photo) return;
    for (const Rendition& rendition : client.renditions) {
        const int width = rendition.width == 0 ? item.width : rendition.width;
        const int height = rendition.height == 0 ? item.height : rendition.height;
        output.append(text_format(64, "&lt;res resolution=\"%dx%d\" ", width, height));
        output.append(text_format(kMaxElementBytes, "protocolInfo=\"%s\"&gt;%s%s/%d(%dx%d,%d)%s&lt;/res&gt;",
                                  protocol_info(mime_of(rendition.suffix), rendition.features).c_str(),
                                  base_url.c_str(), rendition.mode == 0 ? "disk" : "picture", id, width, height,
                                  rendition.mode, rendition.suffix));
    }
    if (client.shows_picture_thumbnail) {
        output.append(text_format(kMaxElementBytes,
                                  "&lt;desc&gt;&lt;DA dir=\"0\"&gt;%spicture/%d(120x90,1).jpg&lt;/DA&gt;&lt;/desc&gt;",
                                  base_url.c_str(), id));
    }
}

void picture_append_icon(TextBuffer& output, const ClientProfile& client, const std::string& base_url, ObjectId id,
                         const MediaItem& item) {
    if (!client.shows_icons || item.object_class != ObjectClass::photo) return;
    output.append(text_format(kMaxElementBytes, "&lt;icon&gt;%spicture/%d(168x112,1).goicon.jpg&lt;/icon&gt;",
                              base_url.c_str(), id));
}
