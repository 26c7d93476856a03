#include "upnp/dlna_headers.h"

#include "core/str.h"
#include "net/answer.h"

namespace {

// Which transfer modes fit which media (DLNA guidelines, transferMode.dlna.org); "" is any.
struct TransferMode {
    std::string_view name;
    std::string_view type_prefix;
};
constexpr TransferMode kTransferModes[] = {
    {"Streaming", "audio/"},
    {"Streaming", "video/"},
    {"Interactive", "image/"},
    {"Background", ""},
};

// The fourth field of the item's protocolInfo, as content listings give it to DLNA clients.
std::string_view content_features(std::string_view content_type, std::string_view media_path) {
    if (content_type.starts_with("audio/L16")) return "DLNA.ORG_PN=LPCM;DLNA.ORG_OP=11";
    if (content_type.starts_with("audio/")) return "DLNA.ORG_OP=11";
    if (content_type == "video/mpeg")
        return str_contains_nocase(media_path, "NTSC") ? "DLNA.ORG_PN=MPEG_PS_NTSC;DLNA.ORG_OP=00"
                                                       : "DLNA.ORG_PN=MPEG_PS_PAL;DLNA.ORG_OP=00";
    if (content_type.starts_with("video/")) return "DLNA.ORG_OP=00";
    return "*";
}

}  // namespace

std::string dlna_answer_headers(std::string_view request_header, std::string_view content_type,
                                std::string_view media_path) {
    std::string lines;
    const Text wanted = http_header_value(request_header, "transferMode.dlna.org");
    for (const TransferMode& mode : kTransferModes) {
        if (str_equal_nocase(text_or_empty(wanted), mode.name) && content_type.starts_with(mode.type_prefix))
            lines.append("transferMode.dlna.org: ").append(mode.name).append("\r\n");
    }
    if (http_header_value(request_header, "getcontentFeatures.dlna.org") == "1") {
        const std::string_view features = content_features(content_type, media_path);
        lines.append("contentFeatures.dlna.org: ").append(features).append("\r\n");
    }
    return lines;
}
