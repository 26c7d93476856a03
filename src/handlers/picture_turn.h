// Whose picture is made next. Decoding and scaling keep a processor busy and take memory by the size of the picture, so
// few are made at once; finished ones wait in memory for clients that read slowly or not at all.
#pragma once

#include <cstdint>
#include <optional>

#include "core/semaphore.h"

struct PictureTurn {
    Reservation unsent;   // memory for the finished picture: resized to what it took, held until it is sent
    Reservation scaling;  // given back when the picture is finished
    bool alone() const;
};

// For a picture of so many bytes. Missing when nobody is there at the socket to have it, and after ten minutes.
//
// Nobody is there after a reset. The end of the peer's sending may be that of its interest: the system does not tell a
// peer that has closed from one that only sends no more, and could find out only by sending it something. Clients
// that end their sending early are rare and those that give up are not, so such a one counts as gone as soon as one
// waits that surely is there.
std::optional<PictureTurn> picture_take_turn(int socket, std::int64_t bytes);
