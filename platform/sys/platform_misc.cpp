// Error texts, thread diagnostics, and the clock and file checks with their
// test overrides.
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform_fault.h"
#include "platform_sys.h"
#include "platform_sys_internal.h"

namespace {

// Texts handed out by cerr_strerror: interned, never freed, so the pointers
// stay valid for the process whichever thread asked first.
struct Texts {
    std::mutex mutex;
    std::map<int, std::string> by_status;
};

Texts& texts() {
    static Texts* t = new Texts;
    return *t;
}

std::string text_of(int status) {
    switch (status) {
        case PLATFORM_ERR_TOVRA_UNAVAILABLE: return "Tovra client library unavailable";
        case PLATFORM_ERR_NOT_FOUND: return "Not found";
        case PLATFORM_ERR_UNREACHABLE: return "Unreachable";
        case PLATFORM_ERR_INVALID: return "Invalid argument";
        default: break;
    }
    if (status >= 0 && status < 4096) {
        char buf[256];
        // GNU strerror_r: may return a static text instead of filling buf.
        const char* t = strerror_r(status, buf, sizeof buf);
        if (t && std::strncmp(t, "Unknown error", 13) != 0) return t;
    }
    char buf[32];
    std::snprintf(buf, sizeof buf, "status 0x%x", static_cast<unsigned>(status));
    return buf;
}

struct Blocked {
    pthread_mutex_t* mutex;
    const char* function;
    int line;
};

struct Diagnostics {
    std::mutex mutex;
    std::map<pthread_t, Blocked> blocked;
};

Diagnostics& diagnostics() {
    static Diagnostics* d = new Diagnostics;
    return *d;
}

std::atomic<time_t> fake_now{0};

struct AccessRoot {
    std::mutex mutex;
    std::string prefix;
};

AccessRoot& access_root() {
    static AccessRoot* a = new AccessRoot;
    return *a;
}

}  // namespace

namespace platform_sys {
int64_t clock_ms() {
    time_t fake = fake_now.load(std::memory_order_relaxed);
    if (fake != 0) return static_cast<int64_t>(fake) * 1000;
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}
}  // namespace platform_sys

extern "C" {

const char* cerr_strerror(int status) {
    PLATFORM_FAULT("cerr_strerror");
    Texts& t = texts();
    std::lock_guard lock(t.mutex);
    auto it = t.by_status.find(status);
    if (it == t.by_status.end()) it = t.by_status.emplace(status, text_of(status)).first;
    return it->second.c_str();
}

void ptd_set_mutex_block(pthread_mutex_t* mutex, const char* function, int line) {
    PLATFORM_FAULT("ptd_set_mutex_block");
    Diagnostics& d = diagnostics();
    std::lock_guard lock(d.mutex);
    d.blocked[pthread_self()] = Blocked{mutex, function, line};
}

void ptd_unset_mutex_block(void) {
    PLATFORM_FAULT("ptd_unset_mutex_block");
    Diagnostics& d = diagnostics();
    std::lock_guard lock(d.mutex);
    d.blocked.erase(pthread_self());
}

uint32_t ptd_blocked_count(void) {
    Diagnostics& d = diagnostics();
    std::lock_guard lock(d.mutex);
    return static_cast<uint32_t>(d.blocked.size());
}

time_t platform_time(time_t* out) {
    PLATFORM_FAULT("platform_time");  // counted, never failed: the clock cannot fail
    time_t fake = fake_now.load(std::memory_order_relaxed);
    time_t now = fake != 0 ? fake : time(nullptr);
    if (out) *out = now;
    return now;
}

int platform_access(const char* path, int mode) {
    if (int status = PLATFORM_FAULT("platform_access")) {
        errno = status;
        return -1;
    }
    if (!path) {
        errno = EINVAL;
        return -1;
    }
    std::string full;
    {
        AccessRoot& a = access_root();
        std::lock_guard lock(a.mutex);
        full = a.prefix + path;
    }
    return access(full.c_str(), mode);
}

void platform_set_fake_time(time_t now) {
    PLATFORM_FAULT("platform_set_fake_time");
    fake_now.store(now, std::memory_order_relaxed);
}

void platform_set_access_root(const char* prefix) {
    PLATFORM_FAULT("platform_set_access_root");
    AccessRoot& a = access_root();
    std::lock_guard lock(a.mutex);
    a.prefix = prefix ? prefix : "";
}

void platform_sys_reset_for_tests(void) {
    platform_sys::reset_identity();
    fake_now.store(0, std::memory_order_relaxed);
    AccessRoot& a = access_root();
    std::lock_guard lock(a.mutex);
    a.prefix.clear();
}

}  // extern "C"
