// The URL table: which handler answers what. Filled once before the first listener opens and read without a lock
// afterwards, so it does not change while one is open.
#pragma once

#include <cstdint>
#include <string_view>

#include "http/request.h"

// At most 24 rows. Rows are looked at in the order of their registration.
void register_http_handler(HttpHandler handler, std::uint32_t methods, std::string_view prefix);

// The handler of the first row whose methods and prefix fit; null when none does.
HttpHandler http_find_handler(std::uint32_t method, std::string_view url);
