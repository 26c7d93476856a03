#include "handlers/upgrade_files.h"

#include <optional>
#include <string>

#include "core/file.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"
#include "http/file_sender.h"
#include "http/request.h"
#include "http/respond.h"

HandlerResult handle_upgrade_file(const HttpRequest& request, HttpResponse& response) {
    const Text folder = settings_get(Setting::netgearupgrade);
    if (!folder || folder->empty()) return http_send_not_found(request, response);

    // Only the part after the last "/" is used, and it is not decoded, so no name leads out of the folder.
    std::string path = *folder;
    if (!path.ends_with('/')) path += '/';
    path.append(request.url, request.url.rfind('/') + 1);
    const File file = file_open_regular(path);
    const auto status = file ? file.status() : std::nullopt;
    if (!status) return http_send_not_found(request, response);

    response.content_type = "application/octet-stream";
    response.content_length = status->size;
    const bool body = request.method != kHead && status->size > 0;
    if (!http_send_header(request, response, body ? BodyFollows::yes : BodyFollows::no)) return HandlerResult::close;
    if (!body) return HandlerResult::keep;
    // If the file became shorter meanwhile, closing the connection tells the client that the rest does not come.
    return FileSender{request.socket, file, 0}.send(status->size) == status->size ? HandlerResult::keep
                                                                                  : HandlerResult::close;
}
