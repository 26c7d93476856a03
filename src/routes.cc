#include "routes.h"

#include <array>
#include <string>

#include "handlers/covers.h"
#include "handlers/now_playing.h"
#include "handlers/picture_page.h"
#include "handlers/playlist_page.h"
#include "handlers/relay.h"
#include "handlers/rescan_page.h"
#include "handlers/stream.h"
#include "handlers/upgrade_files.h"
#include "http/exchange.h"
#include "http/request.h"
#include "http/url_table.h"
#include "meta/media_formats.h"
#include "upnp/clients.h"
#include "upnp/description.h"
#include "upnp/gena.h"
#include "upnp/scpd.h"
#include "upnp/soap_control.h"
#include "upnp/ssdp.h"

namespace {

// In order: the first row whose methods and prefix fit gets the request, and a request with an unknown method the first
// row whose prefix fits.
constexpr auto kRoutes = std::to_array<UrlRoute>({
    {"/DeviceDescription.xml", kGet | kHead, handle_device_description},
    {"/ConnectionManager.xml", kGet | kHead, handle_cm_scpd},
    {"/ConnectionManager/Control", kPost, handle_soap_control},
    {"/ContentDirectory.xml", kGet | kHead, handle_cd_scpd},
    {"/ContentDirectory/Control", kPost, handle_soap_control},
    {"", kSubscribe, handle_subscribe},
    {"", kUnsubscribe, handle_unsubscribe},
    {"/NetgearUpgrade", kGet | kHead, handle_upgrade_file},
    {"/file%3A", kGet | kHead, handle_upgrade_file},
    {"/picture", kGet | kHead, handle_picture},
    {"/disk", kGet | kHead, handle_disk},
    {"/continue", kGet | kHead, handle_continue},
    {"/httpproxy", kGet | kHead, handle_http_proxy},
    {"/ftpproxy", kGet | kHead, handle_ftp_proxy},
    {"/m3u", kGet | kHead, handle_m3u},
    {"/rescan", kGet, handle_rescan},
    {"/rpc", kGet, handle_rpc},
});

}  // namespace

void register_http_handlers() {
    for (const UrlRoute& route : kRoutes) register_http_handler(route.handler, route.methods, route.prefix);
    // A row for each format that has covers: for others there is no such URL.
    for (const MediaFormat& format : media_formats()) {
        if (format.find_cover != nullptr)
            register_http_handler(handle_cover, kGet | kHead, std::string{"/albumart-"}.append(format.extension));
    }
    http_set_client_recogniser(client_recognise);
}

void register_packet_handlers() {
    ssdp_register_msearch_handler();
}
