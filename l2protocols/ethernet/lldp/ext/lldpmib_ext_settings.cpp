// The extension library's settings, set by the host before start.
#include <atomic>

#include "lldpmib_ext.h"
#include "lldpmib_ext_settings.h"

namespace {

constexpr int32_t kMinInterval = 5;
constexpr int32_t kMaxInterval = 3600;
constexpr int32_t kDefaultInterval = 30;

// Read from the agent's thread and from tests; atomics keep that well defined.
std::atomic<int32_t> interval{kDefaultInterval};
std::atomic<int> notify_all{0};

}  // namespace

extern "C" {

int lldpmib_ext_set_notification_interval(int32_t seconds) {
    if (seconds < kMinInterval || seconds > kMaxInterval) return -1;
    interval = seconds;
    return 0;
}
void lldpmib_ext_set_notify_all_ports(int on) { notify_all = on ? 1 : 0; }

int32_t lldpmib_ext_notification_interval(void) { return interval; }
int lldpmib_ext_notify_all_ports(void) { return notify_all; }

}  // extern "C"
