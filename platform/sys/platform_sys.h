// Router platform services a module uses: event manager and managed timers,
// interface-manager and Tovra connections, platform identity, error texts,
// thread diagnostics, and the clock and file checks (with test overrides).
#pragma once
#include <pthread.h>
#include <stdint.h>
#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

// ---- Event manager ----
// Filled by event_async_attach_event; must outlive the timer tree made from it.
typedef struct event_record {
    void* evm;
    int code;
    void (*handler)(void* ctx, struct event_record* ev);
    void* ctx;
    uint64_t id;
} event_record_t;

typedef void (*event_handler_fn)(void* ctx, event_record_t* ev);

// Attaches handler to asynchronous event code on evm.  0 on success; -1 with
// errno set on failure.
int event_async_attach_event(void* evm, int code, event_handler_fn handler, void* ctx,
                             event_record_t* out);
// Failure injection (tests): an armed "event_async_attach_event" fails the call
// with -1 and errno = the armed status; an armed "event_async_attach_event_errno0"
// (counted on every call as well) fails it with -1 and errno = 0.
// Runs the handler of an attached event once on the calling thread (tests,
// and the host's event loop).  0 when something ran.
int event_async_fire(event_record_t* ev);

// ---- Managed timers ----
typedef struct mgd_timer_tree mgd_timer_tree_t;
typedef struct mgd_timer_parent mgd_timer_parent_t;
typedef struct mgd_timer_leaf mgd_timer_leaf_t;

mgd_timer_tree_t* mgd_timer_tree_new(event_record_t* ev, int flags);
mgd_timer_parent_t* mgd_timer_parent_new(mgd_timer_tree_t* tree, int flags);
mgd_timer_leaf_t* mgd_timer_leaf_new(mgd_timer_tree_t* tree, mgd_timer_parent_t* parent,
                                     int type, int flags);
void mgd_timer_leaf_free(mgd_timer_leaf_t* leaf);
void mgd_timer_parent_free(mgd_timer_parent_t* parent);
void mgd_timer_tree_free(mgd_timer_tree_t* tree);
// Starts the leaf so that it expires after ms milliseconds (tests).
void mgd_timer_leaf_start(mgd_timer_leaf_t* leaf, uint32_t ms);
void mgd_timer_leaf_stop(mgd_timer_leaf_t* leaf);
// An expired running leaf of the tree, or null.
mgd_timer_leaf_t* mgd_timer_tree_first_expired(mgd_timer_tree_t* tree);
// Timer objects alive now (leak checks in tests).
uint32_t mgd_timer_live_count(void);

// ---- Interface manager and Tovra ----
int imc_control_server_bind(const uint32_t* request, int count, void** handle);
int imc_control_server_unbind(void** handle, int flags);
int _tovra_bind(void** handle, const char* root, int flags);
int _tovra_unbind(void* handle);
// Connections bound now (leak checks in tests).
uint32_t platform_connection_live_count(void);

// ---- Identity and error texts ----
uint32_t platform_get_router_type(void);
int platform_get_my_nodeid(uint32_t* node_id);
// Set by whoever knows the platform (the host, from its configuration).
void platform_set_identity(uint32_t router_type, uint32_t node_id);
// Readable text of an errno value or platform status; never null.
const char* cerr_strerror(int status);

// Platform statuses.
#define PLATFORM_ERR_TOVRA_UNAVAILABLE ((int)0x8081c200)
#define PLATFORM_ERR_NOT_FOUND ((int)0x8081c201)
#define PLATFORM_ERR_UNREACHABLE ((int)0x8081c202)
#define PLATFORM_ERR_INVALID ((int)0x8081c203)

// ---- Thread diagnostics ----
void ptd_set_mutex_block(pthread_mutex_t* mutex, const char* function, int line);
void ptd_unset_mutex_block(void);
// Threads currently blocked between set and unset (tests).
uint32_t ptd_blocked_count(void);

// ---- Clock and files (C library, overridable by tests) ----
time_t platform_time(time_t* out);
int platform_access(const char* path, int mode);
// Tests: a fixed clock (0 returns to the real one) and a prefix prepended to
// every path platform_access checks (null: none).
void platform_set_fake_time(time_t now);
void platform_set_access_root(const char* prefix);
// Tests: identity back to 25/1, the real clock, no access root.
void platform_sys_reset_for_tests(void);

#ifdef __cplusplus
}
#endif
