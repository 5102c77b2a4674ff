// The module's frame: start-up and tear-down, the module lock, the check
// whether LLDP is enabled, and the snapshot machinery every table shim uses.
#include <assert.h>
#include <errno.h>
#include <string.h>
#include <unistd.h>

#include "lldpmib.h"
#include "lldpmib_enable.h"

// The platform's assertion stop, declared by <assert.h> only without NDEBUG;
// the lock needs it in every build.
extern "C" void __assert_fail(const char* assertion, const char* file, unsigned int line,
                              const char* function) noexcept __attribute__((__noreturn__));

extern "C" {

// ======================= Module state =======================

uint32_t lldpmib_router_type = 25;
void* lldpmib_im_handle = nullptr;
void* lldpmib_tovra_handle = nullptr;
uint8_t lldpmib_tovra_available = 0;
mgd_timer_tree_t* lldpmib_intf_cache_timer_tree = nullptr;
mgd_timer_parent_t* lldpmib_intf_cache_timer_parent = nullptr;
mgd_timer_leaf_t* lldpmib_intf_cache_timer_leaf = nullptr;
pthread_mutex_t lldpmib_mutex = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;

}  // extern "C"

namespace {

const char kTovraLibrary[] = "/pkg/lib/libtovra.so";
const char kShimSource[] = "l2protocols/ethernet/lldp/src/lldpmib_shim_kt";
const int kOutOfMemory = 12;

// The event record must outlive the timer tree built on it.
event_record_t lldpmib_event_record;

}  // namespace

extern "C" {

// ======================= Lock =======================

void lldpmib_lock(void) {
    LLDPMIB_TRACE("lldpmib_lock");
    int int_rc = pthread_mutex_trylock(&lldpmib_mutex);
    if (int_rc == EBUSY) {
        ptd_set_mutex_block(&lldpmib_mutex, "lldpmib_lock", __LINE__);
        int_rc = pthread_mutex_lock(&lldpmib_mutex);
        ptd_unset_mutex_block();
    }
    if (int_rc != 0) __assert_fail("int_rc == 0", kShimSource, __LINE__, "void lldpmib_lock(void)");
}

void lldpmib_unlock(void) {
    LLDPMIB_TRACE("lldpmib_unlock");
    int int_rc = pthread_mutex_unlock(&lldpmib_mutex);
    if (int_rc != 0)
        __assert_fail("int_rc == 0", kShimSource, __LINE__, "void lldpmib_unlock(void)");
}

int lldpmib_mutexattr_init(pthread_mutexattr_t* attr) {
    int rc = pthread_mutexattr_init(attr);
    if (rc == 0) rc = pthread_mutexattr_settype(attr, PTHREAD_MUTEX_ERRORCHECK);
    return rc;
}

int lldpmib_mutex_init(pthread_mutexattr_t* attr) {
    if (attr == nullptr) {
        pthread_mutexattr_t own;
        int rc = lldpmib_mutexattr_init(&own);
        if (rc != 0) return rc;
        rc = lldpmib_mutex_init(&own);
        pthread_mutexattr_destroy(&own);
        return rc;
    }
    memset(&lldpmib_mutex, 0, sizeof lldpmib_mutex);
    return pthread_mutex_init(&lldpmib_mutex, attr);
}

// A destroyed mutex goes back to its static initial value at once, so that a
// request after a stop or a failed start locks a valid mutex.  Start-up and
// tear-down run on one thread, with no request in progress.
int lldpmib_mutex_destroy(void) {
    int rc = pthread_mutex_destroy(&lldpmib_mutex);
    if (rc == 0) {
        pthread_mutex_t fresh = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
        memcpy(&lldpmib_mutex, &fresh, sizeof fresh);
    }
    return rc;
}

// ======================= Connections =======================

void lldpmib_im_conn_init(void) {
    LLDPMIB_TRACE("lldpmib_im_conn_init");
    if (lldpmib_im_handle != nullptr) return;
    static const uint32_t request = 9;
    int status = imc_control_server_bind(&request, 2, &lldpmib_im_handle);
    if (status != 0) {
        lldpmib_im_handle = nullptr;
        LLDPMIB_MIB("lldpmib_im_conn_init", "Failed to bind to IM: %s", cerr_strerror(status));
    }
}

// The Tovra library file decides whether binding and unbinding are attempted.
static bool lldpmib_tovra_library_present() {
    if (lldpmib_tovra_available) return true;
    if (platform_access(kTovraLibrary, R_OK) != 0) return false;
    lldpmib_tovra_available = 1;
    return true;
}

int lldpmib_tovra_bind(void) {
    if (!lldpmib_tovra_library_present()) return PLATFORM_ERR_TOVRA_UNAVAILABLE;
    return _tovra_bind(&lldpmib_tovra_handle, "/", 4);
}

void lldpmib_tovra_unbind(void* handle) {
    if (!lldpmib_tovra_library_present()) return;
    _tovra_unbind(handle);
}

void lldpmib_tovra_conn_init(void) {
    LLDPMIB_TRACE("lldpmib_tovra_conn_init");
    if (lldpmib_tovra_handle != nullptr) return;
    int status = lldpmib_tovra_bind();
    if (status != 0) {
        lldpmib_tovra_handle = nullptr;
        LLDPMIB_MIB("lldpmib_tovra_conn_init", "Failed to bind to Tovra: %s",
                    cerr_strerror(status));
    }
}

// ======================= Timer event =======================

void lldpmib_timer_handler(void* ctx, event_record_t* ev) {
    (void)ctx;
    (void)ev;
    LLDPMIB_TRACE("lldpmib_timer_handler");
    lldpmib_lock();
    mgd_timer_leaf_t* expired;
    while ((expired = mgd_timer_tree_first_expired(lldpmib_intf_cache_timer_tree)) != nullptr)
        mgd_timer_leaf_stop(expired);
    lldpmib_unlock();
}

// ======================= Start-up and tear-down =======================

void lldpmib_term(void) {
    LLDPMIB_TRACE("lldpmib_term");
    lldpmib_lock();
    // Every table's copies go with the module, with the lines of a release at expiry.
    lldpmib_release_local_port_snapshot();
    lldpmib_release_local_ma_snapshot();
    lldpmib_release_remote_entry_snapshot();
    lldpmib_release_remote_ma_snapshot();
    lldpmib_release_remote_unknown_tlv_snapshot();
    lldpmib_release_remote_org_def_snapshot();
    if (lldpmib_im_handle != nullptr) {
        imc_control_server_unbind(&lldpmib_im_handle, 0);
        lldpmib_im_handle = nullptr;
    }
    if (lldpmib_tovra_handle != nullptr) {
        lldpmib_tovra_unbind(lldpmib_tovra_handle);
        lldpmib_tovra_handle = nullptr;
    }
    if (lldpmib_intf_cache_timer_leaf != nullptr) {
        mgd_timer_leaf_free(lldpmib_intf_cache_timer_leaf);
        lldpmib_intf_cache_timer_leaf = nullptr;
    }
    if (lldpmib_intf_cache_timer_parent != nullptr) {
        mgd_timer_parent_free(lldpmib_intf_cache_timer_parent);
        lldpmib_intf_cache_timer_parent = nullptr;
    }
    if (lldpmib_intf_cache_timer_tree != nullptr) {
        mgd_timer_tree_free(lldpmib_intf_cache_timer_tree);
        lldpmib_intf_cache_timer_tree = nullptr;
    }
    lldpmib_unlock();
    lldpmib_mutex_destroy();
}

int32_t lldpmib_init(void* evm) {
    LLDPMIB_TRACE("lldpmib_init");
    lldpmib_router_type = platform_get_router_type();
    lldpmib_im_conn_init();
    lldpmib_tovra_conn_init();

    if (event_async_attach_event(evm, 1, lldpmib_timer_handler, nullptr, &lldpmib_event_record) ==
        -1) {
        int err = errno;
        if (err != 0) {
            lldpmib_term();
            return err;
        }
    }

    lldpmib_intf_cache_timer_tree = mgd_timer_tree_new(&lldpmib_event_record, 0);
    if (lldpmib_intf_cache_timer_tree == nullptr) {
        LLDPMIB_MIB("lldpmib_init", "Failed to allocate LLDP clnt cache timer tree: %s",
                    cerr_strerror(kOutOfMemory));
        lldpmib_term();
        return kOutOfMemory;
    }
    lldpmib_intf_cache_timer_parent = mgd_timer_parent_new(lldpmib_intf_cache_timer_tree, 0);
    if (lldpmib_intf_cache_timer_parent == nullptr) {
        LLDPMIB_MIB("lldpmib_init", "Failed to allocate LLDP clnt cache timer parent: %s",
                    cerr_strerror(kOutOfMemory));
        lldpmib_term();
        return kOutOfMemory;
    }
    lldpmib_intf_cache_timer_leaf =
        mgd_timer_leaf_new(lldpmib_intf_cache_timer_tree, lldpmib_intf_cache_timer_parent, 0, 0);
    if (lldpmib_intf_cache_timer_leaf == nullptr) {
        LLDPMIB_MIB("lldpmib_init", "Failed to allocate LLDP clnt cache timer leaf: %s",
                    cerr_strerror(kOutOfMemory));
        lldpmib_term();
        return kOutOfMemory;
    }

    pthread_mutexattr_t attr;
    int rc = lldpmib_mutexattr_init(&attr);
    if (rc != 0) {
        LLDPMIB_MIB("lldpmib_init", "Failed to initialize mutex attributes: %s", cerr_strerror(rc));
        lldpmib_term();
        return rc;
    }
    rc = lldpmib_mutex_init(&attr);
    if (rc != 0) {
        LLDPMIB_MIB("lldpmib_init", "Failed to initialize LLDP MIB mutex: %s", cerr_strerror(rc));
        pthread_mutexattr_destroy(&attr);
        lldpmib_term();
        return rc;
    }
    pthread_mutexattr_destroy(&attr);
    return 0;
}

void init_lldpmib(void* agent_context, int32_t start) {
    if (start == 0) {
        lldpmib_term();
        lldp_client_term();
        return;
    }
    lldp_debug_init(lldp_debug_arr_kel);
    snmp_register_mib_debug(agent_context, &lldpmib_debug_flags);
    snmp_load_oid(agent_context, lldpmib_oid_table);
    void* evm = snmp_import_evmh();
    int status = lldp_client_init(evm);
    if (status != 0) {
        LLDPMIB_ERROR("init_lldpmib",
                      "Failed to initialize connection with LLDP client library, error: %s",
                      cerr_strerror(status));
        return;
    }
    status = lldpmib_init(evm);
    if (status != 0) {
        LLDPMIB_ERROR("init_lldpmib", "Failed to initialize the lldpmib library, err: %s",
                      cerr_strerror(status));
    }
}

// ======================= Enablement =======================

int lldpmib_is_orvik_platform(void) { return lldpmib_is_orvik_router_type(lldpmib_router_type); }

// The rule is shared with the extension library; the lines are the module's.
int32_t lldpmib_shim_is_lldp_enabled(void) {
    LLDPMIB_TRACE("lldpmib_shim_is_lldp_enabled");
    int status = 0;
    switch (lldpmib_lldp_state_of(lldpmib_router_type, &status)) {
        case LLDPMIB_LLDP_ORVIK:
            LLDPMIB_MIB("lldpmib_shim_is_lldp_enabled",
                        "LLDP MIB enabled by default on Orvik platform");
            return 0;
        case LLDPMIB_LLDP_QUERY_FAILED:
            LLDPMIB_MIB("lldpmib_shim_is_lldp_enabled",
                        "Failed to determine whether LLDP is enabled, assuming that it is "
                        "disabled, no interface info returned, error: %s",
                        cerr_strerror(status));
            return 2;
        case LLDPMIB_LLDP_ENABLED:
            return 0;
        case LLDPMIB_LLDP_DISABLED:
            break;
    }
    LLDPMIB_MIB("lldpmib_shim_is_lldp_enabled", "LLDP disabled, no interface info returned");
    return 2;
}

// ======================= Snapshot machinery =======================

kel_list_node_t* lldpmib_node_next(kel_list_node_t* node) {
    return node != nullptr ? node->next : nullptr;
}

void* lldpmib_node_data(kel_list_node_t* node) { return node != nullptr ? node->data : nullptr; }

static void lldpmib_snapshot_reset_counters(lldpmib_snapshot* s) {
    s->total_entries = 0;
    s->entry_count = 0;
    s->neighbors = 0;
}

// Releases every copy of a live list: the kind's removing line per copy and
// its destroying line (worked out only while verbose lines are written), then
// its destroy routine.  The handle is cleared.
static void lldpmib_snapshot_release(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                                     const char* fn) {
    if (lldpmib_lines_on(LLDP_ROW_VERBOSE) && !kel_list_is_empty(s->list)) {
        if (kind->removing != nullptr) {
            for (kel_list_node_t* n = kel_list_get_head(s->list); n != nullptr;
                 n = lldpmib_node_next(n)) {
                if (const void* copy = lldpmib_node_data(n)) kind->removing(fn, copy);
            }
        }
        if (kind->destroying != nullptr) kind->destroying(fn);
    }
    kind->destroy_list(s->list);
    s->list = nullptr;
}

void lldpmib_snapshot_release_at_stop(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                                      const char* fn) {
    if (kel_list_is_valid(s->list)) lldpmib_snapshot_release(s, kind, fn);
}

// The shared freshness rule decides; the data stamp taken here, before a
// rebuild's fetch, is the rebuilt snapshot's.
int lldpmib_snapshot_usable(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                            const char* fn) {
    lldpmib_data_stamp now = lldpmib_data_stamp_now();
    if (!kel_list_is_valid(s->list)) {
        lldpmib_snapshot_reset_counters(s);
        s->fetched = now;
        LLDPMIB_EMIT(LLDP_ROW_VERBOSE, kind->reset_line, fn);
        return 0;
    }
    if (lldpmib_data_fresh(&s->fetched, &now)) return 1;
    lldpmib_snapshot_release(s, kind, fn);
    lldpmib_snapshot_reset_counters(s);
    s->fetched = now;
    LLDPMIB_EMIT(LLDP_ROW_VERBOSE, kind->expired_line, fn);
    return 0;
}

}  // extern "C"

extern "C" {

int lldpmib_snapshot_create(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                            const char* fn) {
    if (kel_list_create(&s->list, 0, kind->list_name, 2, 0) == 0) return 0;
    s->list = nullptr;
    LLDPMIB_EMIT(LLDP_ROW_MIB, kind->create_failed_line, fn);
    return 1;
}

// Destroys a list the caller has emptied; the handle is cleared whatever the
// list library answers.
static void lldpmib_destroy_empty_list(kel_list_handle* list, const char* fn) {
    if (kel_list_destroy(list) != 0) LLDPMIB_MIB(fn, "kel_list_destroy failed");
    *list = nullptr;
}

void lldpmib_snapshot_consume(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                              const char* fn, void* record, int port, const char* removing_line,
                              const char* destroying_line) {
    LLDPMIB_EMIT(LLDP_ROW_VERBOSE, removing_line, fn, port);
    if (s->list != nullptr && kel_list_is_valid(s->list)) {
        kel_list_remove(s->list, 0, record);
        if (kel_list_is_empty(s->list)) {
            LLDPMIB_EMIT(LLDP_ROW_VERBOSE, destroying_line, fn);
            lldpmib_destroy_empty_list(&s->list, fn);
        }
    }
    kind->free_copy(record);
}

void lldpmib_snapshot_purge(lldpmib_snapshot* s, const lldpmib_snapshot_kind* kind,
                            const char* fn) {
    LLDPMIB_EMIT(LLDP_ROW_VERBOSE, kind->purging_line, fn);
    kind->destroy_list(s->list);
    s->list = nullptr;
}

void lldpmib_destroy_copy_list(kel_list_handle list, void (*free_copy)(void*), const char* fn) {
    if (list == nullptr || !kel_list_is_valid(list)) return;
    while (!kel_list_is_empty(list)) {
        void* copy = kel_list_dequeue(list);
        if (copy != nullptr) free_copy(copy);
    }
    lldpmib_destroy_empty_list(&list, fn);
}

}  // extern "C"
