// The rows of a table: for (const auto& [text, expected] : Rows<const char*, int>{{"1", 1}, {"x", 0}}) ...
#pragma once

#include <initializer_list>
#include <tuple>

template <typename... Columns>
using Rows = std::initializer_list<std::tuple<Columns...>>;
