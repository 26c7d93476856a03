#include "core/start_directory.h"

#include <unistd.h>

#include "core/process_wide.h"

namespace {

struct StartDirectory {
    StartDirectory() {
        char buffer[1024];
        if (getcwd(buffer, sizeof buffer) != nullptr) path = buffer;
    }
    std::string path = ".";  // if it was removed or its name is too long
};

}  // namespace

const std::string& start_directory() {
    return process_wide<StartDirectory>().path;
}
