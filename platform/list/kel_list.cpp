// Doubly linked lists of pointers.  Live lists are kept in a registry so that
// a null or destroyed handle is answered safely; a list itself is used by one
// thread at a time (its owner's lock), different lists by different threads.
#include "kel_list.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <mutex>
#include <new>
#include <string>
#include <unordered_set>

#include "platform_fault.h"

static_assert(offsetof(kel_list_node_t, next) == 0, "users read the successor at offset 0");
static_assert(offsetof(kel_list_node_t, data) == 16, "users read the element at offset 16");

namespace {
constexpr uint32_t kLiveMagic = 0x4b4c5354;  // "KLST"
constexpr uint32_t kDeadMagic = 0xdeadbeef;
}  // namespace

struct kel_list {
    uint32_t magic = kLiveMagic;
    uint32_t size = 0;
    kel_list_node_t* head = nullptr;
    kel_list_node_t* tail = nullptr;
    std::string name;
};

namespace {

struct Registry {
    std::mutex mutex;
    std::unordered_set<const kel_list*> live;
    // Lists destroyed so far; changed under the mutex.
    std::atomic<uint64_t> destroyed{0};
};

Registry& registry() {
    static Registry* r = new Registry;
    return *r;
}

// Handles this thread found live, while no list has been destroyed since:
// the common case (the same few lists used over and over) is answered
// without the registry's lock.
struct LiveCache {
    uint64_t destroyed = 0;
    std::array<const kel_list*, 4> handles{};
    size_t next = 0;
};

// The list behind handle when it is live, else null.
kel_list* live(kel_list_handle handle) {
    if (!handle) return nullptr;
    Registry& r = registry();
    thread_local LiveCache cache;
    uint64_t destroyed = r.destroyed.load(std::memory_order_acquire);
    if (cache.destroyed == destroyed &&
        std::find(cache.handles.begin(), cache.handles.end(), handle) != cache.handles.end())
        return handle;
    std::lock_guard lock(r.mutex);
    if (!r.live.count(handle) || handle->magic != kLiveMagic) return nullptr;
    destroyed = r.destroyed.load(std::memory_order_relaxed);
    if (cache.destroyed != destroyed) cache = LiveCache{destroyed, {}, 0};
    cache.handles[cache.next] = handle;
    cache.next = (cache.next + 1) % cache.handles.size();
    return handle;
}

kel_list_node_t* new_node(void* element) {
    auto* node = new (std::nothrow) kel_list_node_t;
    if (!node) return nullptr;
    node->next = nullptr;
    node->prev = nullptr;
    node->data = element;
    return node;
}

// Links node after pos (at the head when pos is null).
void link_after(kel_list* l, kel_list_node_t* pos, kel_list_node_t* node) {
    node->prev = pos;
    node->next = pos ? pos->next : l->head;
    if (node->next)
        node->next->prev = node;
    else
        l->tail = node;
    if (pos)
        pos->next = node;
    else
        l->head = node;
    ++l->size;
}

void unlink(kel_list* l, kel_list_node_t* node) {
    if (node->prev)
        node->prev->next = node->next;
    else
        l->head = node->next;
    if (node->next)
        node->next->prev = node->prev;
    else
        l->tail = node->prev;
    --l->size;
    delete node;
}

}  // namespace

extern "C" {

int kel_list_create(kel_list_handle* list, int flags, const char* name, int kind, int max) {
    if (int status = PLATFORM_FAULT("kel_list_create")) return status;
    if (!list) return EINVAL;
    auto* l = new (std::nothrow) kel_list;
    if (!l) return ENOMEM;
    l->name = name ? name : "";
    {
        Registry& r = registry();
        std::lock_guard lock(r.mutex);
        r.live.insert(l);
    }
    *list = l;
    return 0;
}

int kel_list_is_valid(kel_list_handle list) {
    PLATFORM_FAULT("kel_list_is_valid");
    return live(list) ? 1 : 0;
}

int kel_list_is_empty(kel_list_handle list) {
    PLATFORM_FAULT("kel_list_is_empty");
    kel_list* l = live(list);
    return !l || l->size == 0;
}

uint32_t kel_list_get_size(kel_list_handle list) {
    PLATFORM_FAULT("kel_list_get_size");
    kel_list* l = live(list);
    return l ? l->size : 0;
}

kel_list_node_t* kel_list_get_head(kel_list_handle list) {
    PLATFORM_FAULT("kel_list_get_head");
    kel_list* l = live(list);
    return l ? l->head : nullptr;
}

kel_list_node_t* kel_list_enqueue(kel_list_handle list, int flags, void* element) {
    if (PLATFORM_FAULT("kel_list_enqueue")) return nullptr;
    kel_list* l = live(list);
    if (!l) return nullptr;
    kel_list_node_t* node = new_node(element);
    if (node) link_after(l, l->tail, node);
    return node;
}

kel_list_node_t* kel_list_insert(kel_list_handle list, int flags, void* element,
                                 kel_list_compare_fn compare) {
    if (PLATFORM_FAULT("kel_list_insert")) return nullptr;
    kel_list* l = live(list);
    if (!l || !compare) return nullptr;
    kel_list_node_t* node = new_node(element);
    if (!node) return nullptr;
    // From the tail backwards: ascending input goes in after one comparison,
    // and the new element lands after every element equal to it.
    kel_list_node_t* pos = l->tail;
    while (pos && compare(pos->data, element) > 0) pos = pos->prev;
    link_after(l, pos, node);
    return node;
}

void* kel_list_dequeue(kel_list_handle list) {
    PLATFORM_FAULT("kel_list_dequeue");
    kel_list* l = live(list);
    if (!l || !l->head) return nullptr;
    void* element = l->head->data;
    unlink(l, l->head);
    return element;
}

int kel_list_remove(kel_list_handle list, int flags, void* element) {
    PLATFORM_FAULT("kel_list_remove");
    kel_list* l = live(list);
    if (!l) return EINVAL;
    for (kel_list_node_t* node = l->head; node; node = node->next) {
        if (node->data == element) {
            unlink(l, node);
            return 0;
        }
    }
    return ENOENT;
}

int kel_list_destroy(kel_list_handle* list) {
    if (int status = PLATFORM_FAULT("kel_list_destroy")) return status;
    if (!list || !*list) return EINVAL;
    kel_list* l = *list;
    {
        Registry& r = registry();
        std::lock_guard lock(r.mutex);
        if (!r.live.erase(l)) return EINVAL;
        r.destroyed.fetch_add(1, std::memory_order_release);
    }
    for (kel_list_node_t* node = l->head; node;) {
        kel_list_node_t* next = node->next;
        delete node;
        node = next;
    }
    l->magic = kDeadMagic;
    delete l;
    *list = nullptr;
    return 0;
}

const char* kel_list_get_name(kel_list_handle list) {
    PLATFORM_FAULT("kel_list_get_name");
    kel_list* l = live(list);
    return l ? l->name.c_str() : "";
}

uint32_t kel_list_live_count(void) {
    Registry& r = registry();
    std::lock_guard lock(r.mutex);
    return static_cast<uint32_t>(r.live.size());
}

}  // extern "C"
