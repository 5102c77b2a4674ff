// Event manager and managed timers.  Timers expire against the platform clock,
// so tests drive them with the fake clock instead of sleeping.
#include <cerrno>
#include <mutex>
#include <new>
#include <set>

#include "platform_fault.h"
#include "platform_sys.h"
#include "platform_sys_internal.h"

struct mgd_timer_tree {
    event_record_t* ev;
    std::set<mgd_timer_parent*> parents;
    std::set<mgd_timer_leaf*> leaves;
};

struct mgd_timer_parent {
    mgd_timer_tree* tree;
};

struct mgd_timer_leaf {
    mgd_timer_tree* tree;      // null once the tree is gone
    mgd_timer_parent* parent;  // compared only, never followed
    int type;
    bool running;
    int64_t expiry_ms;
};

namespace {

std::mutex& timer_mutex() {
    static std::mutex* m = new std::mutex;
    return *m;
}

uint32_t timers_live = 0;  // guarded by timer_mutex
uint64_t next_event_id = 1;

}  // namespace

extern "C" {

int event_async_attach_event(void* evm, int code, event_handler_fn handler, void* ctx,
                             event_record_t* out) {
    if (int status = PLATFORM_FAULT("event_async_attach_event")) {
        errno = status;
        return -1;
    }
    if (PLATFORM_FAULT("event_async_attach_event_errno0")) {
        errno = 0;
        return -1;
    }
    if (!out || !handler) {
        errno = EINVAL;
        return -1;
    }
    out->evm = evm;
    out->code = code;
    out->handler = handler;
    out->ctx = ctx;
    std::lock_guard lock(timer_mutex());
    out->id = next_event_id++;
    return 0;
}

int event_async_fire(event_record_t* ev) {
    PLATFORM_FAULT("event_async_fire");
    if (!ev || !ev->handler) return -1;
    ev->handler(ev->ctx, ev);
    return 0;
}

mgd_timer_tree_t* mgd_timer_tree_new(event_record_t* ev, int flags) {
    if (PLATFORM_FAULT("mgd_timer_tree_new")) return nullptr;
    auto* tree = new (std::nothrow) mgd_timer_tree{ev, {}, {}};
    if (!tree) return nullptr;
    std::lock_guard lock(timer_mutex());
    ++timers_live;
    return tree;
}

mgd_timer_parent_t* mgd_timer_parent_new(mgd_timer_tree_t* tree, int flags) {
    if (PLATFORM_FAULT("mgd_timer_parent_new")) return nullptr;
    if (!tree) return nullptr;
    auto* parent = new (std::nothrow) mgd_timer_parent{tree};
    if (!parent) return nullptr;
    std::lock_guard lock(timer_mutex());
    tree->parents.insert(parent);
    ++timers_live;
    return parent;
}

mgd_timer_leaf_t* mgd_timer_leaf_new(mgd_timer_tree_t* tree, mgd_timer_parent_t* parent,
                                     int type, int flags) {
    if (PLATFORM_FAULT("mgd_timer_leaf_new")) return nullptr;
    if (!tree) return nullptr;
    auto* leaf = new (std::nothrow) mgd_timer_leaf{tree, parent, type, false, 0};
    if (!leaf) return nullptr;
    std::lock_guard lock(timer_mutex());
    tree->leaves.insert(leaf);
    ++timers_live;
    return leaf;
}

void mgd_timer_leaf_free(mgd_timer_leaf_t* leaf) {
    PLATFORM_FAULT("mgd_timer_leaf_free");
    if (!leaf) return;
    std::lock_guard lock(timer_mutex());
    if (leaf->tree) leaf->tree->leaves.erase(leaf);
    delete leaf;
    --timers_live;
}

void mgd_timer_parent_free(mgd_timer_parent_t* parent) {
    PLATFORM_FAULT("mgd_timer_parent_free");
    if (!parent) return;
    std::lock_guard lock(timer_mutex());
    if (parent->tree) {
        parent->tree->parents.erase(parent);
        for (mgd_timer_leaf* leaf : parent->tree->leaves)
            if (leaf->parent == parent) leaf->parent = nullptr;
    }
    delete parent;
    --timers_live;
}

void mgd_timer_tree_free(mgd_timer_tree_t* tree) {
    PLATFORM_FAULT("mgd_timer_tree_free");
    if (!tree) return;
    std::lock_guard lock(timer_mutex());
    // Children freed later must not reach back into the tree.
    for (mgd_timer_parent* parent : tree->parents) parent->tree = nullptr;
    for (mgd_timer_leaf* leaf : tree->leaves) {
        leaf->tree = nullptr;
        leaf->running = false;
    }
    delete tree;
    --timers_live;
}

void mgd_timer_leaf_start(mgd_timer_leaf_t* leaf, uint32_t ms) {
    PLATFORM_FAULT("mgd_timer_leaf_start");
    if (!leaf) return;
    int64_t now = platform_sys::clock_ms();
    std::lock_guard lock(timer_mutex());
    if (!leaf->tree) return;
    leaf->running = true;
    leaf->expiry_ms = now + ms;
}

void mgd_timer_leaf_stop(mgd_timer_leaf_t* leaf) {
    PLATFORM_FAULT("mgd_timer_leaf_stop");
    if (!leaf) return;
    std::lock_guard lock(timer_mutex());
    leaf->running = false;
}

mgd_timer_leaf_t* mgd_timer_tree_first_expired(mgd_timer_tree_t* tree) {
    PLATFORM_FAULT("mgd_timer_tree_first_expired");
    if (!tree) return nullptr;
    int64_t now = platform_sys::clock_ms();
    std::lock_guard lock(timer_mutex());
    mgd_timer_leaf* first = nullptr;
    for (mgd_timer_leaf* leaf : tree->leaves)
        if (leaf->running && leaf->expiry_ms <= now && (!first || leaf->expiry_ms < first->expiry_ms))
            first = leaf;
    return first;
}

uint32_t mgd_timer_live_count(void) {
    std::lock_guard lock(timer_mutex());
    return timers_live;
}

}  // extern "C"
