#include "upnp/protocol_info.h"
#include <string>
#include <string_view>

#include "core/str.h"
#include "db/objects.h"
#include "meta/media_formats.h"
#include "meta/pcm.h"
#include "net/http_header.h"

namespace {

// DLNA.ORG_OP: whether a client may seek by time and by bytes.
constexpr std::string_view kSeekable = "DLNA.ORG_OP=11", kNotSeekable = "DLNA.ORG_OP=00";

// Nothing reads the picture rate of a film, so its path has to name the television system.
std::string_view mpeg_profile(std::string_view path) {
    return str_contains_nocase(path, "NTSC") ? "MPEG_PS_NTSC" : "MPEG_PS_PAL";
}

std::string with_profile(std::string_view profile, std::string_view operations) {
    return std::string{"DLNA.ORG_PN="}.append(profile).append(";").append(operations);
}

// Kept on purpose: contentFeatures goes by the type of the response, and is told to every client that asks; the fourth
// field of a list goes by the class of the item.
std::string content_features(std::string_view content_type, std::string_view media_path) {
    if (content_type.starts_with("audio/L16")) return with_profile("LPCM", kSeekable);
    if (content_type.starts_with("audio/")) return std::string{kSeekable};
    if (content_type == "video/mpeg") return with_profile(mpeg_profile(media_path), kNotSeekable);
    return content_type.starts_with("video/") ? std::string{kNotSeekable} : "*";
}

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

}  // namespace

std::string protocol_info(std::string_view type, std::string_view features) {
    return std::string{"http-get:*:"}.append(type).append(":").append(features);
}

std::string lpcm_type(std::string_view path) {
    const PcmFormat format = pcm_format_of(path);
    return text_format(128, "audio/L16;rate=%d;channels=%d", format.sample_rate, format.channels);
}

ListedForm listed_form(ObjectClass object_class, std::string_view path, bool takes_dlna_fields) {
    if (object_class == ObjectClass::audio_broadcast) return {.protocol_info = protocol_info("audio/mpeg")};
    if (object_class == ObjectClass::photo) return {.protocol_info = protocol_info("image/jpeg")};

    const bool film = object_class == ObjectClass::movie;
    const std::string_view type = mime_of_extension(path_extension(path));
    // Raw samples carry no header, so every client is told what they are.
    if (!film && type == "audio/L16")
        return {.protocol_info = protocol_info(lpcm_type(path), with_profile("LPCM", kSeekable)),
                .dlna_profile = "LPCM"};
    if (!takes_dlna_fields) return {.protocol_info = protocol_info(type)};
    if (!film) return {.protocol_info = protocol_info(type, kSeekable)};
    if (type != "video/mpeg") return {.protocol_info = protocol_info(type, kNotSeekable)};
    const std::string_view profile = mpeg_profile(path);
    return {.protocol_info = protocol_info(type, with_profile(profile, kNotSeekable)), .dlna_profile = profile};
}

std::string dlna_response_headers(std::string_view request_header, std::string_view content_type,
                                  std::string_view media_path) {
    std::string lines;
    const Text wanted = http_header_value(request_header, "transferMode.dlna.org");
    for (const TransferMode& mode : kTransferModes) {
        if (str_equal_nocase(text_or_empty(wanted), mode.name) && content_type.starts_with(mode.type_prefix))
            lines.append("transferMode.dlna.org: ").append(mode.name).append("\r\n");
    }
    if (http_header_value(request_header, "getcontentFeatures.dlna.org") == "1")
        lines.append("contentFeatures.dlna.org: ").append(content_features(content_type, media_path)).append("\r\n");
    return lines;
}
