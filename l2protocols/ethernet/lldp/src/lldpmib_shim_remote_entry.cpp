// lldpRemTable: the row made from a neighbour, its snapshot and its shim.
#include <string.h>

#include "lldpmib_shim_remote.h"

namespace {

const char kShim[] = "lldpmib_shim_remote_entry_get";
const uint32_t kKeyMax = 2147483647u;

lldpRemEntry_t lldpRemEntry;
lldpmib_snapshot remote_entry_snapshot;

const lldpmib_snapshot_kind remote_entry_kind = {
    "LLDP MIB remote entry list",
    lldpmib_free_neighbor_copy,
    lldpmib_destroy_remote_entry_list,
    "VERBOSE[%s] Reset entry_count:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,cache deleted\n",
    "MIB[%s] Remote list create failed",
    "VERBOSE[%s] Removing Remote Entry from LLDP MIB Remote Entry cache",
    "VERBOSE[%s] Destroying LLDP MIB Remote Port Entry Cache\n",
    "VERBOSE[%s] Purging out LLDP MIB Remote Port Entry cache\n",
};

// What one request carries besides the common fields.
struct remote_entry_request {
    remote_entry_search_ctx ctx;
    int serial;
    uint32_t walk_time_mark;
    uint32_t walk_rem_index;
};

remote_entry_request* entry_req(lldpmib_remote_request* rq) {
    return (remote_entry_request*)rq->table;
}

// MAC text of 14 characters becomes its 6 octets; anything else, or text that
// does not parse, is served as received.
OctetString* make_id(const uint8_t* id, uint16_t len, bool mac_subtype) {
    if (len == 14 && mac_subtype && id != nullptr) {
        char text[15];
        memcpy(text, id, 14);
        text[14] = '\0';
        unsigned char mac[6] = {0, 0, 0, 0, 0, 0};
        if (lldpmib_convert_macstr_pton(text, mac) == 1) return MakeOctetString(mac, 6);
    }
    return MakeOctetString(id, len);
}

OctetString* make_caps(uint16_t caps, const char* fmt_kind) {
    uint16_t v = reverse_bits_uint16(caps);
    unsigned char octets[2] = {(unsigned char)(v >> 8), (unsigned char)(v & 0xff)};
    unsigned shown = octets[0] + 256u * octets[1];
    if (fmt_kind[0] == 'S')
        LLDPMIB_VERBOSE(kShim, "Supported caps: %04x\n", shown);
    else
        LLDPMIB_VERBOSE(kShim, "Enabled caps: %04x\n", shown);
    return MakeOctetString(octets, 2);
}

int fill_remote_entry(const neighbor_td* n) {
    const lldp_neighbor_mib* mib = n->mib;
    const lldp_neighbor_detail* detail = n->detail;
    lldpRemEntry_t* row = &lldpRemEntry;
    memset(row, 0, sizeof *row);
    char chassis[256];
    lldpmib_chassis_text(n, chassis, sizeof chassis);
    LLDPMIB_ERROR(kShim, "lldpremchassisID:%s\n", chassis);
    row->lldpRemTimeMark = mib->time_mark;
    row->lldpRemLocalPortNum = (int32_t)mib->port_num;
    row->lldpRemIndex = (int32_t)mib->rem_index;
    row->lldpRemChassisIdSubtype = mib->chassis_id_subtype;
    bool chassis_mac = mib->chassis_id_subtype == 4;
    row->lldpRemChassisId = make_id(n->chassis_id, mib->chassis_id_len, chassis_mac);
    LLDPMIB_VERBOSE(kShim, "RemChassis ID %s MAC type, length: %d",
                    chassis_mac ? "" : "NOT", 14);
    LLDPMIB_ERROR(kShim, "chid:%s, chid_len:%d", chassis, (int)mib->chassis_id_len);
    row->lldpRemPortIdSubtype = mib->port_id_subtype;
    row->lldpRemPortId = make_id(n->port_id, mib->port_id_len, mib->port_id_subtype == 3);
    uint32_t combined = (uint32_t)mib->enabled_caps | ((uint32_t)mib->supported_caps << 16);
    LLDPMIB_VERBOSE(kShim, "Combined caps: %08x\n", combined);
    row->lldpRemSysCapSupported = make_caps(mib->supported_caps, "S");
    row->lldpRemSysCapEnabled = make_caps(mib->enabled_caps, "E");
    row->lldpRemPortDesc = MakeOctetStringFromText(detail->port_desc);
    row->lldpRemSysName = MakeOctetStringFromText(detail->sys_name);
    row->lldpRemSysDesc = MakeOctetStringFromText(detail->sys_desc);
    if (row->lldpRemChassisId == nullptr || row->lldpRemPortId == nullptr ||
        row->lldpRemSysCapSupported == nullptr || row->lldpRemSysCapEnabled == nullptr ||
        row->lldpRemPortDesc == nullptr || row->lldpRemSysName == nullptr ||
        row->lldpRemSysDesc == nullptr) {
        lldpmib_free_remote_entry_row();
        return 0;
    }
    return 1;
}

// ---- Hooks of the shared skeleton ----

void entry_checking(lldpmib_remote_request* rq) {
    LLDPMIB_VERBOSE(kShim,
                    "Checking for SerialNum:%d, timemark:%d, interface: %d, remindex:%d, "
                    "nominator:%d\n",
                    entry_req(rq)->serial, (int)rq->time_mark, (int)rq->port, (int)rq->rem_index,
                    rq->nominator);
}

int entry_find(lldpmib_remote_request* rq) {
    neighbor_td* n = lldpmib_find_remote_entry(rq->search_type, rq->time_mark, rq->port,
                                               rq->rem_index, remote_entry_snapshot.list);
    if (n == nullptr) return 0;
    LLDPMIB_VERBOSE(kShim, "Cached for timemark:%d, interface: %d,remindex:%d\n",
                    (int)rq->time_mark, (int)n->mib->port_num, (int)n->mib->rem_index);
    rq->answer = n;
    return 1;
}

void entry_walk_key(lldpmib_remote_request* rq, int from) {
    remote_entry_request* r = entry_req(rq);
    r->walk_time_mark = from == LLDPMIB_WALK_FAILED ? 0 : rq->time_mark;
    r->walk_rem_index = from == LLDPMIB_WALK_ASKED ? (uint32_t)rq->rem_index : 0;
}

void* entry_prepare(lldpmib_remote_request* rq, uint32_t port, uint32_t ifhandle) {
    remote_entry_request* r = entry_req(rq);
    memset(&r->ctx, 0, sizeof r->ctx);
    r->ctx.rem_time_mark = r->walk_time_mark;
    r->ctx.port_num = port;
    r->ctx.rem_index = r->walk_rem_index;
    r->ctx.min_port_num = kKeyMax;
    r->ctx.min_rem_index = kKeyMax;
    r->ctx.search_type = (uint32_t)rq->search_type;
    LLDPMIB_VERBOSE(kShim, "Attempt rem entry for interface index:%d, rem_index:%d ifhandle:%x\n",
                    (int)port, (int)r->walk_rem_index, ifhandle);
    return &r->ctx;
}

int entry_selected(lldpmib_remote_request* rq) {
    rq->answer = entry_req(rq)->ctx.result;
    return rq->answer != nullptr;
}

int entry_fill(lldpmib_remote_request* rq) { return fill_remote_entry(rq->answer); }

const lldpmib_remote_table remote_entry_table = {
    kShim,
    &remote_entry_snapshot,
    &remote_entry_kind,
    lldp_client_get_next_if_remote,
    lldpmib_get_first_neighbor_td,
    11,
    "VERBOSE[%s] Remote entry table cache already exist\n",
    "VERBOSE[%s] Creating Remote entry table cache\n",
    "VERBOSE[%s] Found lldpRemTable data forifIndex %d",
    "ERROR[%s] Failed retrieving lldpRemTable datafor ifIndex %d",
    "VERBOSE[%s] entry_count:%d, total_entries:%d\n",
    0,  // totals_with_neighbors
    1,  // port_walk_lines
    1,  // total_is_list_size
    0,  // consume_walked: only GETs take copies out
    1,  // purge_walk_end
    0,  // purge_ports_exhausted
    entry_checking,
    entry_find,
    entry_walk_key,
    entry_prepare,
    nullptr,
    entry_selected,
    entry_fill,
    nullptr,
};

}  // namespace

extern "C" {

void lldpmib_free_remote_entry_row(void) {
    lldpRemEntry_t* row = &lldpRemEntry;
    OctetString** strings[] = {&row->lldpRemChassisId, &row->lldpRemPortId,
                               &row->lldpRemPortDesc,  &row->lldpRemSysName,
                               &row->lldpRemSysDesc,   &row->lldpRemSysCapSupported,
                               &row->lldpRemSysCapEnabled};
    for (OctetString** s : strings) {
        FreeOctetString(*s);
        *s = nullptr;
    }
    memset(row, 0, sizeof *row);
}

neighbor_td* lldpmib_find_remote_entry(int searchType, uint32_t timeMark, int32_t localPortNum,
                                       int32_t remIndex, kel_list_handle list) {
    const char* fn = "lldpmib_find_remote_entry";
    LLDPMIB_TRACE(fn);
    LLDPMIB_VERBOSE(fn, "searchType: %x, timeMark: %x, localPortNum: %x,remIndex: %x\n",
                    (unsigned)searchType, timeMark, (unsigned)localPortNum, (unsigned)remIndex);
    kel_list_node_t* node = kel_list_get_head(list);
    if (node == nullptr) return nullptr;
    uint32_t best_port = kKeyMax;
    uint32_t best_index = kKeyMax;
    neighbor_td* best = nullptr;
    for (; node != nullptr; node = lldpmib_node_next(node)) {
        neighbor_td* n = (neighbor_td*)lldpmib_node_data(node);
        if (n == nullptr) continue;
        if (n->detail == nullptr || n->mib == nullptr) {
            LLDPMIB_VERBOSE(fn, "NO detail or mib, so skip it.");
            continue;
        }
        const lldp_neighbor_mib* mib = n->mib;
        if (mib->time_mark < timeMark) {
            LLDPMIB_VERBOSE(fn, "time mark does not qualify, so skip it.");
            continue;
        }
        if (searchType == EXACT) {
            if (lldpmib_compare_key(mib->port_num, mib->rem_index, (uint32_t)localPortNum,
                                    (uint32_t)remIndex) == 0) {
                LLDPMIB_MIB(fn, "result found\n");
                return n;
            }
        } else if (searchType == NEXT) {
            LLDPMIB_VERBOSE(fn, "ifIndex: %u, remIndex: %u\n", mib->port_num, mib->rem_index);
            if (lldpmib_compare_key(mib->port_num, mib->rem_index, (uint32_t)localPortNum,
                                    (uint32_t)remIndex) >= 0 &&
                lldpmib_compare_key(best_port, best_index, mib->port_num, mib->rem_index) > 0) {
                best_port = mib->port_num;
                best_index = mib->rem_index;
                best = n;
            }
        }
    }
    if (best != nullptr) LLDPMIB_MIB(fn, "result found\n");
    return best;
}

int lldpmib_get_first_neighbor_td(void* record, void* list, void* context) {
    const char* fn = "lldpmib_get_first_neighbor_td";
    LLDPMIB_TRACE(fn);
    const neighbor_td* rec = (const neighbor_td*)record;
    remote_entry_search_ctx* ctx = (remote_entry_search_ctx*)context;
    if (rec == nullptr || ctx == nullptr || !kel_list_is_valid((kel_list_handle)list)) return 22;
    if (rec->port_marker != 0) {
        if (rec->mib != nullptr) ctx->port_num = rec->mib->port_num;
        return 0;
    }
    int rc = 0;
    neighbor_td* copy = lldpmib_store_neighbor(list, rec, fn, &rc);
    if (copy == nullptr) return rc;
    LLDPMIB_VERBOSE(fn,
                    "result inputs: search_type:%d, rem_time_mark:%d,port_num:%d, rem_index:%d, "
                    "min_port_num:%d, min_rem_index:%d\n",
                    (int)ctx->search_type, (int)ctx->rem_time_mark, (int)ctx->port_num,
                    (int)ctx->rem_index, (int)ctx->min_port_num, (int)ctx->min_rem_index);
    if (copy->detail == nullptr || copy->mib == nullptr) {
        LLDPMIB_VERBOSE(fn, "NO detail or mib, so skip it.");
        return 0;
    }
    const lldp_neighbor_mib* mib = copy->mib;
    if (mib->time_mark < ctx->rem_time_mark) {
        LLDPMIB_VERBOSE(fn, "time mark does not qualify, so skip it.");
        return 0;
    }
    if (ctx->search_type == EXACT) {
        if (lldpmib_compare_key(mib->port_num, mib->rem_index, ctx->port_num, ctx->rem_index) ==
            0) {
            LLDPMIB_MIB(fn, "exact result found\n");
            ctx->result = copy;
        }
        return 0;
    }
    if (ctx->search_type != NEXT) return 0;
    LLDPMIB_VERBOSE(fn, "ifIndex: %u, remIndex: %u\n", mib->port_num, mib->rem_index);
    if (lldpmib_compare_key(mib->port_num, mib->rem_index, ctx->port_num, ctx->rem_index) < 0)
        return 0;
    if (lldpmib_compare_key(ctx->min_port_num, ctx->min_rem_index, mib->port_num,
                            mib->rem_index) <= 0)
        return 0;
    ctx->min_port_num = mib->port_num;
    ctx->min_rem_index = mib->rem_index;
    LLDPMIB_MIB(fn, "walk result found\n");
    ctx->result = copy;
    return 0;
}

lldpRemEntry_t* lldpmib_shim_remote_entry_get(int serialNum, void* contextInfo, int nominator,
                                              int searchType, uint32_t timeMark,
                                              int32_t localPortNum, int32_t remIndex) {
    LLDPMIB_TRACE(kShim);
    lldpmib_lock();
    remote_entry_request r;
    memset(&r, 0, sizeof r);
    r.serial = serialNum;
    lldpmib_free_remote_entry_row();
    lldpmib_remote_request rq = {nominator, searchType, timeMark, localPortNum, remIndex,
                                 nullptr,   nullptr,    &r};
    int filled = lldpmib_remote_shim_run(&remote_entry_table, &rq);
    memset(&r, 0, sizeof r);
    lldpmib_unlock();
    return filled ? &lldpRemEntry : nullptr;
}

}  // extern "C"
