// A network namespace for tests that use fixed ports or multicast: loopback alone, up and able to multicast, so that
// neither other programs of the machine nor its neighbours take part.
#pragma once

#include <string>
#include <utility>

// Moves the calling thread there, and with it every thread it starts from then on; once is enough. False where the
// system does not allow it (no root and no user namespaces): skip the test, and say so.
bool enter_own_network();

// A further address of the loopback interface, listed as an interface of its own ("lo:1"), for as long as the object
// lives.
class LoopbackAlias {
public:
    LoopbackAlias(int number, const char* address);
    ~LoopbackAlias();
    LoopbackAlias(LoopbackAlias&& other) noexcept : name_(std::exchange(other.name_, {})) {}

private:
    std::string name_;
};
