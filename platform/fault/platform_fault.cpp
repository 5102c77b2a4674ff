// Call counting and failure injection.  The hot path (platform_fault_check) is
// a plain counter increment and one load while nothing is armed, an atomic
// increment and two more loads while something is; the mutex is only taken to create points, to arm them,
// and when a call hits an armed nth failure.
#include "platform_fault.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <string_view>
#include <string>
#include <vector>

struct platform_fault_point {
    std::string name;
    std::atomic<uint64_t> calls{0};
    // Status returned by every call; 0 when not armed.
    std::atomic<int> always{0};
    // Call number of the earliest pending nth failure; 0 when none.
    std::atomic<uint64_t> next_fail{0};
    // Pending nth failures (call number, status); guarded by the registry mutex.
    std::vector<std::pair<uint64_t, int>> pending;
};

namespace {

// Set when any failure is armed, cleared by a reset: until then no point
// needs a look at its arming.
std::atomic<bool> anything_armed{false};

struct Registry {
    std::mutex mutex;
    std::map<std::string, platform_fault_point*, std::less<>> points;
    std::vector<platform_fault_point*> order;  // creation order, for sweeps
};

// Never destroyed: points must stay usable from other libraries' static
// destructors, and stay reachable so leak checkers see no leak.
Registry& registry() {
    static Registry* r = new Registry;
    return *r;
}

platform_fault_point* point_locked(Registry& r, const char* op) {
    std::string_view key = op ? op : "";
    auto it = r.points.find(key);
    if (it != r.points.end()) return it->second;
    auto* p = new platform_fault_point;
    p->name = std::string(key);
    r.points.emplace(p->name, p);
    r.order.push_back(p);
    return p;
}

void recompute_next_locked(platform_fault_point* p) {
    uint64_t next = 0;
    for (auto& [at, status] : p->pending)
        if (next == 0 || at < next) next = at;
    p->next_fail.store(next, std::memory_order_release);
}

}  // namespace

extern "C" {

platform_fault_point* platform_fault_point_get(const char* op) {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    return point_locked(r, op);
}

int platform_fault_check(platform_fault_point* p) {
    if (!p) return 0;
    if (!anything_armed.load(std::memory_order_acquire)) {
        // Nothing can fail: a plain increment (no locked instruction).  Calls
        // of one operation at the same instant on several threads may then
        // count once; counts taken on one thread are exact.
        p->calls.store(p->calls.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        return 0;
    }
    uint64_t n = p->calls.fetch_add(1, std::memory_order_relaxed) + 1;
    int always = p->always.load(std::memory_order_relaxed);
    if (always != 0) return always;
    uint64_t next = p->next_fail.load(std::memory_order_acquire);
    if (next == 0 || n < next) return 0;
    // Possibly this call's turn: settle it under the lock.
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    int status = 0;
    auto it = std::find_if(p->pending.begin(), p->pending.end(),
                           [n](const auto& e) { return e.first == n; });
    if (it != p->pending.end()) {
        status = it->second;
        p->pending.erase(it);
    }
    // Entries below n stay: their calls may be counted and not yet settled.
    recompute_next_locked(p);
    return status;
}

void platform_fault_fail_nth(const char* op, uint64_t nth, int status) {
    if (nth == 0 || status == 0) return;
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    platform_fault_point* p = point_locked(r, op);
    p->pending.emplace_back(p->calls.load(std::memory_order_relaxed) + nth, status);
    recompute_next_locked(p);
    anything_armed.store(true, std::memory_order_release);
}

void platform_fault_fail_always(const char* op, int status) {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    point_locked(r, op)->always.store(status, std::memory_order_relaxed);
    if (status != 0) anything_armed.store(true, std::memory_order_release);
}

uint64_t platform_fault_calls(const char* op) {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    auto it = r.points.find(std::string_view(op ? op : ""));
    return it == r.points.end() ? 0 : it->second->calls.load(std::memory_order_relaxed);
}

void platform_fault_reset(void) {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    anything_armed.store(false, std::memory_order_release);
    for (platform_fault_point* p : r.order) {
        p->always.store(0, std::memory_order_relaxed);
        p->pending.clear();
        p->next_fail.store(0, std::memory_order_release);
        p->calls.store(0, std::memory_order_relaxed);
    }
}

void platform_fault_for_each(void (*fn)(const char* op, void* arg), void* arg) {
    if (!fn) return;
    std::vector<platform_fault_point*> points;
    {
        Registry& r = registry();
        std::lock_guard lock(r.mutex);
        points = r.order;
    }
    // Outside the lock, so fn may arm or count; names live as long as the process.
    for (platform_fault_point* p : points) fn(p->name.c_str(), arg);
}

uint64_t platform_fault_calls_prefixed(const char* prefix) {
    struct sum {
        std::string_view prefix;
        uint64_t total = 0;
    } s{prefix ? prefix : ""};
    platform_fault_for_each(
        [](const char* op, void* arg) {
            auto* s = static_cast<sum*>(arg);
            if (std::string_view(op).substr(0, s->prefix.size()) == s->prefix) s->total += platform_fault_calls(op);
        },
        &s);
    return s.total;
}

}  // extern "C"
