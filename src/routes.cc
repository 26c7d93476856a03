#include "routes.h"

#include <array>

#include "handlers/covers.h"
#include "handlers/now_playing.h"
#include "handlers/picture_page.h"
#include "handlers/playlist_page.h"
#include "handlers/relay.h"
#include "handlers/rescan_page.h"
#include "handlers/stream.h"
#include "handlers/upgrade_files.h"
#include "http/request.h"
#include "http/server.h"
#include "upnp/description.h"
#include "upnp/gena.h"
#include "upnp/scpd.h"
#include "upnp/soap_control.h"
#include "upnp/ssdp.h"

namespace {

// In order: the first row whose methods and prefix fit gets the request, and a request with an unknown method the first
// row whose prefix fits.
constexpr auto kRoutes = std::to_array<UrlRoute>({
    {"/DeviceDescription.xml", kGet | kHead, serve_device_description},
    {"/ConnectionManager.xml", kGet | kHead, serve_cm_scpd},
    {"/ConnectionManager/Control", kPost, soap_control_handler},
    {"/ContentDirectory.xml", kGet | kHead, serve_cd_scpd},
    {"/ContentDirectory/Control", kPost, soap_control_handler},
    {"", kSubscribe, gena_subscribe},
    {"", kUnsubscribe, gena_unsubscribe},
    {"/NetgearUpgrade", kGet | kHead, upgrade_file_handler},
    {"/file%3A", kGet | kHead, upgrade_file_handler},
    {"/picture", kGet | kHead, picture_handler},
    {"/disk", kGet | kHead, disk_handler},
    {"/continue", kGet | kHead, continue_handler},
    {"/httpproxy", kGet | kHead, http_proxy_handler},
    {"/ftpproxy", kGet | kHead, ftp_proxy_handler},
    {"/m3u", kGet | kHead, m3u_handler},
    {"/albumart-mp3", kGet | kHead, albumart_mp3_handler},
    {"/albumart-wma", kGet | kHead, albumart_wma_handler},
    {"/albumart-m4a", kGet | kHead, albumart_m4a_handler},
    {"/albumart-wav", kGet | kHead, albumart_wav_handler},
    {"/rescan", kGet, rescan_page},
    {"/rpc", kGet, rpc_handler},
});

}  // namespace

void register_http_handlers() {
    for (const UrlRoute& route : kRoutes) register_http_handler(route.handler, route.methods, route.prefix);
}

void register_packet_handlers() {
    ssdp_register_msearch_handler();
}
