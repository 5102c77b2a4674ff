// Deep copies of client records.  Each copy is one allocation: the records
// first (all 8-byte multiples), then the bytes they point to, so a copy never
// shares memory with its source and is freed with one free().
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "lldp_client.h"
#include "lldp_client_internal.h"
#include "platform_fault.h"

namespace {

std::atomic<uint32_t> live_copies{0};

// Bump allocator over one block; sizes are computed beforehand.
struct arena {
    uint8_t* base = nullptr;
    size_t used = 0;

    template <typename T>
    T* take(const T* src) {
        T* dst = reinterpret_cast<T*>(base + used);
        std::memcpy(dst, src, sizeof(T));
        used += sizeof(T);
        return dst;
    }
    uint8_t* bytes(const void* src, size_t n, bool terminate) {
        uint8_t* dst = base + used;
        if (n) std::memcpy(dst, src, n);
        used += n;
        if (terminate) base[used++] = 0;
        return dst;
    }
    char* text(const char* s) {
        if (!s) return nullptr;
        return reinterpret_cast<char*>(bytes(s, std::strlen(s), true));
    }
};

size_t text_size(const char* s) { return s ? std::strlen(s) + 1 : 0; }
size_t info_size(int32_t len, const uint8_t* info) { return info && len > 0 ? size_t(len) : 0; }

void* allocate(size_t n) {
    void* p = std::malloc(n ? n : 1);
    if (p) live_copies.fetch_add(1, std::memory_order_relaxed);
    return p;
}

void release(void* p) {
    if (!p) return;
    std::free(p);
    live_copies.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace

namespace lldp_client_internal {
void count_allocation() { live_copies.fetch_add(1, std::memory_order_relaxed); }
void count_release() { live_copies.fetch_sub(1, std::memory_order_relaxed); }
}  // namespace lldp_client_internal

extern "C" {

uint32_t lldp_client_live_copies(void) { return live_copies.load(std::memory_order_relaxed); }

lldp_interface_td* lldp_client_copy_interface_td(const lldp_interface_td* rec) {
    if (PLATFORM_FAULT("lldp_client_copy_interface_td")) return nullptr;
    if (!rec) return nullptr;
    arena a;
    a.base = static_cast<uint8_t*>(
        allocate(sizeof(lldp_interface_td) + text_size(rec->port_id) + text_size(rec->port_desc)));
    if (!a.base) return nullptr;
    lldp_interface_td* c = a.take(rec);
    c->port_id = a.text(rec->port_id);
    c->port_desc = a.text(rec->port_desc);
    return c;
}

void lldp_client_free_interface_td(lldp_interface_td* copy) {
    PLATFORM_FAULT("lldp_client_free_interface_td");
    release(copy);
}

lldp_local_ma_td* lldp_client_copy_local_ma_td(const lldp_local_ma_td* rec) {
    if (PLATFORM_FAULT("lldp_client_copy_local_ma_td")) return nullptr;
    if (!rec) return nullptr;
    size_t n = 0;
    for (const lldp_addr_element* e = rec->addrs; e; e = e->next) ++n;
    arena a;
    a.base = static_cast<uint8_t*>(allocate(sizeof(lldp_local_ma_td) + n * sizeof(lldp_addr_element)));
    if (!a.base) return nullptr;
    lldp_local_ma_td* c = a.take(rec);
    lldp_addr_element** link = &c->addrs;
    for (const lldp_addr_element* e = rec->addrs; e; e = e->next) {
        *link = a.take(e);
        link = &(*link)->next;
    }
    *link = nullptr;
    return c;
}

void lldp_client_free_local_ma_td(lldp_local_ma_td* copy) {
    PLATFORM_FAULT("lldp_client_free_local_ma_td");
    release(copy);
}

neighbor_td* lldp_client_copy_neighbor_td(const neighbor_td* rec) {
    if (PLATFORM_FAULT("lldp_client_copy_neighbor_td")) return nullptr;
    if (!rec) return nullptr;
    const lldp_neighbor_mib* mib = rec->mib;
    const lldp_neighbor_detail* detail = rec->detail;

    // Without mib the ID lengths are unknown: such a copy carries no IDs.
    size_t chassis_len = mib && rec->chassis_id ? mib->chassis_id_len : 0;
    size_t port_len = mib && rec->port_id ? mib->port_id_len : 0;

    size_t size = sizeof(neighbor_td);
    size_t bytes = 0;
    if (mib) {
        size += sizeof(lldp_neighbor_mib);
        for (const unknown_tlv_element* e = mib->unknown_tlvs; e; e = e->next)
            size += sizeof(*e), bytes += info_size(e->info_len, e->info);
        for (const org_def_tlv_element* e = mib->org_def_tlvs; e; e = e->next)
            size += sizeof(*e), bytes += info_size(e->info_len, e->info);
        if (rec->chassis_id) bytes += chassis_len + 1;
        if (rec->port_id) bytes += port_len + 1;
    }
    if (detail) {
        size += sizeof(lldp_neighbor_detail);
        for (const lldp_addr_element* e = detail->man_addrs; e; e = e->next) size += sizeof(*e);
        bytes += text_size(detail->port_desc) + text_size(detail->sys_name) +
                 text_size(detail->sys_desc);
    }

    arena a;
    a.base = static_cast<uint8_t*>(allocate(size + bytes));
    if (!a.base) return nullptr;
    neighbor_td* c = a.take(rec);
    c->chassis_id = nullptr;
    c->port_id = nullptr;
    c->mib = nullptr;
    c->detail = nullptr;
    if (mib) {
        c->mib = a.take(mib);
        unknown_tlv_element** ulink = &c->mib->unknown_tlvs;
        for (const unknown_tlv_element* e = mib->unknown_tlvs; e; e = e->next) {
            *ulink = a.take(e);
            ulink = &(*ulink)->next;
        }
        *ulink = nullptr;
        org_def_tlv_element** olink = &c->mib->org_def_tlvs;
        for (const org_def_tlv_element* e = mib->org_def_tlvs; e; e = e->next) {
            *olink = a.take(e);
            olink = &(*olink)->next;
        }
        *olink = nullptr;
    }
    if (detail) {
        c->detail = a.take(detail);
        lldp_addr_element** link = &c->detail->man_addrs;
        for (const lldp_addr_element* e = detail->man_addrs; e; e = e->next) {
            *link = a.take(e);
            link = &(*link)->next;
        }
        *link = nullptr;
    }
    // Byte data after every record.
    if (mib) {
        if (rec->chassis_id) c->chassis_id = a.bytes(rec->chassis_id, chassis_len, true);
        if (rec->port_id) c->port_id = a.bytes(rec->port_id, port_len, true);
        for (unknown_tlv_element* e = c->mib->unknown_tlvs; e; e = e->next)
            e->info = e->info ? a.bytes(e->info, info_size(e->info_len, e->info), false) : nullptr;
        for (org_def_tlv_element* e = c->mib->org_def_tlvs; e; e = e->next)
            e->info = e->info ? a.bytes(e->info, info_size(e->info_len, e->info), false) : nullptr;
    }
    if (detail) {
        c->detail->port_desc = a.text(detail->port_desc);
        c->detail->sys_name = a.text(detail->sys_name);
        c->detail->sys_desc = a.text(detail->sys_desc);
    }
    return c;
}

void lldp_client_free_neighbor_td(neighbor_td* copy) {
    PLATFORM_FAULT("lldp_client_free_neighbor_td");
    release(copy);
}

}  // extern "C"
