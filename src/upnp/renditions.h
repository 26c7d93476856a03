// The sizes and forms in which a client may fetch a picture, as DIDL-Lite elements of its item. Which ones are listed
// depends on the kind of client.
#pragma once

#include <string_view>

#include "core/text_buffer.h"
#include "db/objects.h"
#include "upnp/clients.h"

struct PictureClient {
    ClientKind kind = ClientKind::generic;
    std::string_view base_url;  // "http://address:port/"
};

// One res element a rendition; nothing for items that are no pictures. The id is that of the listed object: an item or
// a reference to it.
void picture_append_res(const PictureClient& client, TextBuffer& output, ObjectId id, const MediaItem& item);

// An icon element, for the one kind of client that shows it.
void picture_append_icon(const PictureClient& client, TextBuffer& output, ObjectId id, const MediaItem& item);
