// For tests: walks the whole tree and compares every index, count and chain with what a plain walk finds.
#pragma once

#include <string>

#include "db/tree.h"

// The first difference in words; empty when everything fits.
std::string tree_check(const StoreLock& lock);
