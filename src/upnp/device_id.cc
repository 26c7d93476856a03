#include "upnp/device_id.h"

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

#include "core/interfaces.h"
#include "core/process_wide.h"
#include "core/settings.h"
#include "core/settings_table.h"
#include "core/str.h"

namespace {

constexpr std::string_view kDefaultDigits = "73783736426233";
constexpr std::size_t kMaxDigits = 20;

struct CachedId {
    std::mutex mutex;
    std::string id;  // empty until it is first asked for
};
CachedId& cached() {
    return process_wide<CachedId>();
}

// Two servers on one machine have the same hardware address; their names tell their ids apart.
std::string digits_of(const Text& friendly_name) {
    if (!friendly_name || friendly_name->empty()) return std::string{kDefaultDigits};
    std::string digits = friendly_name->substr(0, kMaxDigits);
    for (char& c : digits) c = static_cast<char>('0' + static_cast<unsigned char>(c) % 10);
    return digits;
}

}  // namespace

std::string device_id_for(const Text& friendly_name, const Text& hardware_address) {
    const std::string digits = digits_of(friendly_name);
    // Kept on purpose: control points see this form without a leading "uuid:".
    if (!hardware_address) return "896659847466-0000-" + digits;

    std::string address = *hardware_address;
    std::ranges::replace(address, ':', '-');
    return "uuid:896659847466-" + address + "-" + digits;
}

std::string ssdp_device_id() {
    CachedId& cache = cached();
    std::scoped_lock lock{cache.mutex};
    if (cache.id.empty()) cache.id = device_id_for(settings_get(Setting::friendlyname), first_hardware_address());
    return cache.id;
}

void ssdp_forget_device_id() {
    std::scoped_lock lock{cached().mutex};
    cached().id.clear();
}
