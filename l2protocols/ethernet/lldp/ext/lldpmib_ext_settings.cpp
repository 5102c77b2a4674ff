// The library's settings: lldpNotificationInterval and whether every port
// notifies.  Atomics: a host may set them while requests are served.
#include <atomic>

#include "lldpmib_ext_internal.h"

namespace {

constexpr int32_t kDefaultInterval = 30;
constexpr int32_t kLeastInterval = 5, kGreatestInterval = 3600;

std::atomic<int32_t> notification_interval{kDefaultInterval};
std::atomic<bool> notify_all_ports{false};

}  // namespace

int32_t lldpmib_ext_notification_interval(void) { return notification_interval.load(); }
bool lldpmib_ext_notify_all_ports(void) { return notify_all_ports.load(); }

extern "C" {

int lldpmib_ext_set_notification_interval(int32_t seconds) {
    if (seconds < kLeastInterval || seconds > kGreatestInterval) return -1;
    notification_interval.store(seconds);
    return 0;
}

void lldpmib_ext_set_notify_all_ports(int on) { notify_all_ports.store(on != 0); }

}  // extern "C"
