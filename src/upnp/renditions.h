// The renditions of a picture that a client is offered, as DIDL-Lite elements of its item. base_url is where the client
// reaches us ("http://address:port/").
#pragma once

#include <string>

#include "core/text_buffer.h"
#include "db/objects.h"
#include "upnp/client_profile.h"

// One res element a rendition; nothing for items that are no pictures. The id is that of the listed object: an item or
// a reference to it.
void picture_append_res(TextBuffer& output, const ClientProfile& client, const std::string& base_url, ObjectId id,
                        const MediaItem& item);

// An icon element, for clients that show icons.
void picture_append_icon(TextBuffer& output, const ClientProfile& client, const std::string& base_url, ObjectId id,
                         const MediaItem& item);
