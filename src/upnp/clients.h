// Which kind of client was seen at which address. A kind is learned from what a client sends and kept for its address,
// so that requests without the telling text are answered in the same way.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "http/request.h"
#include "upnp/client_profile.h"

// The client that is known at an address; a generic one if none is. Music-only clients are those of such a kind, and
// every address of the setting `musicclient`.
RequestClient client_of(std::string_view address);

// Records or changes the kind seen at an address. A kind that needs a proof is asked for it first, which may take up to
// 5 s; one address is asked once.
void set_client_kind(ClientKind kind, std::string_view address);

// For http_set_client_recogniser: learns from the user agent in a request header, and returns who is known at the
// address then. May take the 5 s of a proof.
RequestClient client_recognise(std::string_view header, std::string_view address);

// Learns from the ObjectID that a client asks for, unless it is known to be for music only already. Returns who is
// known at its address from then on.
RequestClient client_learn_from_object_id(const RequestClient& client, std::string_view object_id,
                                          std::string_view address);

// For status pages: the clients that are known, in the order in which they were seen first.
struct KnownClient {
    std::string address;
    std::string_view kind_name;
};
std::optional<KnownClient> client_at(std::size_t index);

// The addresses of the settings `dlinkclient` and `noxonclient`, at start.
void clients_register_configured();
void clients_reset();
