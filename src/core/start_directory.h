// The working directory at start: the content directory when none is configured, and where the redirect page is
// written.
#pragma once

#include <string>

// Taken on first use, which main makes its first act; the process never changes directory afterwards.
const std::string& start_directory();
