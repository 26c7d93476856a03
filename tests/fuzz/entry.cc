#include <cstddef>
#include <cstdint>
#include <span>

#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz(std::as_bytes(std::span{data, size}));
    return 0;
}
