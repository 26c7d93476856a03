// The working directory at start. It is the content directory if none is configured, and the redirect page is written
// there.
#pragma once

#include <string>

// Read on first use, which is the first act of main. The process never changes its directory.
const std::string& start_directory();
