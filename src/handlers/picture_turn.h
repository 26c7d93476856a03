// Whose picture is made next. Decoding and scaling keep a processor busy and take memory by the size of the picture, so
// few pictures are made at once. Finished ones wait in memory for clients that read slowly or not at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "core/semaphore.h"

// The right to make one picture. Everything it holds is given back when it dies.
struct PictureTurn {
    Reservation unsent;   // memory for the finished picture
    Reservation scaling;  // one of the pictures that are being made

    // Runs the work and waits for its end. A single picture is made as fast as it can be; several are made on threads
    // of lower priority, so that other answers do not wait for them.
    void run(const std::function<void()>& work) const;
    // Lets the next picture have its turn. What stays reserved is the memory of the finished one: this many bytes.
    void finish(std::size_t bytes);
};

// Waits for the turn of a picture of at most this many bytes. Returns nullopt if the client at the socket has gone, or
// after ten minutes.
//
// A reset connection means that the client has gone. A half-closed one looks the same whether the client has gone or
// has merely stopped sending, and only sending something would tell. We treat such a client as gone only while another
// client that is certainly connected is waiting: clients that end their sending early are rare, those that give up are
// not.
std::optional<PictureTurn> picture_take_turn(int socket, std::int64_t bytes);
