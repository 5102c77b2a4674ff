// Interface-manager and Tovra connections, and the platform identity.
// Connections are small heap objects tracked in a set, so a stale or repeated
// unbind is refused instead of freeing twice.
#include <atomic>
#include <mutex>
#include <new>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform_fault.h"
#include "platform_sys.h"

namespace {

enum class ConnKind { im, tovra };

struct Connection {
    ConnKind kind;
    std::vector<uint32_t> request;
    std::string root;
    int flags;
};

struct Connections {
    std::mutex mutex;
    std::unordered_set<Connection*> live;
};

Connections& connections() {
    static Connections* c = new Connections;
    return *c;
}

int bind(ConnKind kind, void** handle, Connection* conn) {
    if (!conn) return 12;  // out of memory
    conn->kind = kind;
    Connections& c = connections();
    std::lock_guard lock(c.mutex);
    c.live.insert(conn);
    *handle = conn;
    return 0;
}

int unbind(ConnKind kind, void* handle) {
    if (!handle) return PLATFORM_ERR_INVALID;
    auto* conn = static_cast<Connection*>(handle);
    Connections& c = connections();
    std::lock_guard lock(c.mutex);
    auto it = c.live.find(conn);
    if (it == c.live.end() || conn->kind != kind) return PLATFORM_ERR_NOT_FOUND;
    c.live.erase(it);
    delete conn;
    return 0;
}

std::atomic<uint32_t> router_type{25};
std::atomic<uint32_t> node_id{1};

}  // namespace

extern "C" {

int imc_control_server_bind(const uint32_t* request, int count, void** handle) {
    if (int status = PLATFORM_FAULT("imc_control_server_bind")) return status;
    if (!handle || count < 0 || (count > 0 && !request)) return PLATFORM_ERR_INVALID;
    auto* conn = new (std::nothrow) Connection{};
    // The meaning of count is the interface manager's; only the first request
    // word is certain to be there.
    if (conn && request && count > 0) conn->request.push_back(request[0]);
    return bind(ConnKind::im, handle, conn);
}

int imc_control_server_unbind(void** handle, int flags) {
    if (int status = PLATFORM_FAULT("imc_control_server_unbind")) return status;
    if (!handle) return PLATFORM_ERR_INVALID;
    int rc = unbind(ConnKind::im, *handle);
    if (rc == 0) *handle = nullptr;
    return rc;
}

int _tovra_bind(void** handle, const char* root, int flags) {
    if (int status = PLATFORM_FAULT("_tovra_bind")) return status;
    if (!handle) return PLATFORM_ERR_INVALID;
    auto* conn = new (std::nothrow) Connection{};
    if (conn) {
        conn->root = root ? root : "";
        conn->flags = flags;
    }
    return bind(ConnKind::tovra, handle, conn);
}

int _tovra_unbind(void* handle) {
    if (int status = PLATFORM_FAULT("_tovra_unbind")) return status;
    return unbind(ConnKind::tovra, handle);
}

uint32_t platform_connection_live_count(void) {
    Connections& c = connections();
    std::lock_guard lock(c.mutex);
    return static_cast<uint32_t>(c.live.size());
}

uint32_t platform_get_router_type(void) {
    PLATFORM_FAULT("platform_get_router_type");
    return router_type.load(std::memory_order_relaxed);
}

int platform_get_my_nodeid(uint32_t* out) {
    if (int status = PLATFORM_FAULT("platform_get_my_nodeid")) return status;
    if (!out) return PLATFORM_ERR_INVALID;
    *out = node_id.load(std::memory_order_relaxed);
    return 0;
}

void platform_set_identity(uint32_t type, uint32_t id) {
    PLATFORM_FAULT("platform_set_identity");
    router_type.store(type, std::memory_order_relaxed);
    node_id.store(id, std::memory_order_relaxed);
}

}  // extern "C"

namespace platform_sys {
void reset_identity() {
    router_type.store(25, std::memory_order_relaxed);
    node_id.store(1, std::memory_order_relaxed);
}
}  // namespace platform_sys
