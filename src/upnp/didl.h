// One object as DIDL-Lite (UPnP ContentDirectory:1, section 2.8), escaped for the Result element of a SOAP answer:
// element brackets are written as "&lt;" and "&gt;", values are escaped twice, attribute quotes are plain.
//
// An element holds at most kMaxElement bytes. A value that does not fit is cut where no entity and no character is cut
// in two, so that the element still closes and every answer stays well-formed.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/text_buffer.h"
#include "core/xml_escape.h"
#include "db/tree.h"
#include "upnp/client_profile.h"
#include "upnp/didl_filter.h"

constexpr std::size_t kMaxElement = 1023;

// The client that asks, and the base URL from which it fetches resources.
struct DidlClient {
    const ClientProfile& profile;
    std::string base_url;            // "http://address:port/"
    bool original_pictures = false;  // the setting `norescale`: files as they are instead of renditions
};

// A container, an item, or an item element for a reference.
void didl_append_object(const StoreLock& lock, TextBuffer& output, const MediaObject& object, const DidlFilter& filter,
                        const DidlClient& client);

// "&lt;NAME ATTRIBUTES&gt;VALUE&lt;/NAME&gt;". Attributes are ready text that begins with a blank, or empty; a missing
// value gives an empty element.
void didl_append_element(TextBuffer& output, std::string_view name, std::string_view attributes,
                         std::optional<std::string_view> value, ClientText client);
