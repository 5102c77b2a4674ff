// lldpRemTable: the row made from a neighbour, its snapshot and its shim.
#include <string.h>

#include "lldpmib_shim_remote.h"

namespace {

const char kShim[] = "lldpmib_shim_remote_entry_get";

lldpRemEntry_t lldpRemEntry;

const lldpmib_snapshot_kind remote_entry_kind = {
    "LLDP MIB remote entry list",
    lldpmib_free_neighbor_copy,
    lldpmib_destroy_remote_entry_list,
    "VERBOSE[%s] Reset entry_count:0, total_entries:0\n",
    "VERBOSE[%s] current timestamp not matching cached timestamp,cache deleted\n",
    "MIB[%s] Remote list create failed",
    "VERBOSE[%s] Purging out LLDP MIB Remote Port Entry cache\n",
    [](const char* fn, const void*) {
        LLDPMIB_VERBOSE(fn, "Removing Remote Entry from LLDP MIB Remote Entry cache");
    },
    [](const char* fn) {
        LLDPMIB_VERBOSE(fn, "Destroying LLDP MIB Remote Port Entry Cache\n");
    },
};

// The row's columns (nominators).
enum {
    COL_CHASSIS_ID = 4,
    COL_PORT_ID = 6,
    COL_PORT_DESC = 7,
    COL_SYS_NAME = 8,
    COL_SYS_DESC = 9,
    COL_CAP_SUPPORTED = 10,
    COL_CAP_ENABLED = 11,
};

// An ID as served: MAC text of 14 characters becomes its 6 octets; anything
// else, or text that does not parse, is served as received.
struct served_id {
    const uint8_t* bytes;
    int32_t length;
    unsigned char mac[6];
};

void work_out_id(const uint8_t* id, uint16_t len, bool mac_subtype, served_id* out) {
    out->bytes = id;
    out->length = len;
    if (len == 14 && mac_subtype && id != nullptr) {
        char text[15];
        memcpy(text, id, 14);
        text[14] = '\0';
        memset(out->mac, 0, sizeof out->mac);
        if (lldpmib_convert_macstr_pton(text, out->mac) == 1) {
            out->bytes = out->mac;
            out->length = 6;
        }
    }
}

// The capability octets, with their line (the octets as a little-endian number).
void work_out_caps(uint16_t caps, const char* fmt_kind, unsigned char octets[2]) {
    uint16_t mirrored;
    lldpmib_caps_bits(caps, &mirrored, octets);
    unsigned shown = octets[0] + 256u * octets[1];
    if (fmt_kind[0] == 'S')
        LLDPMIB_VERBOSE(kShim, "Supported caps: %04x\n", shown);
    else
        LLDPMIB_VERBOSE(kShim, "Enabled caps: %04x\n", shown);
}

// The row's string for a column; null for the integer columns.
OctetString** column_string(lldpRemEntry_t* row, int nominator) {
    switch (nominator) {
        case COL_CHASSIS_ID: return &row->lldpRemChassisId;
        case COL_PORT_ID: return &row->lldpRemPortId;
        case COL_PORT_DESC: return &row->lldpRemPortDesc;
        case COL_SYS_NAME: return &row->lldpRemSysName;
        case COL_SYS_DESC: return &row->lldpRemSysDesc;
        case COL_CAP_SUPPORTED: return &row->lldpRemSysCapSupported;
        case COL_CAP_ENABLED: return &row->lldpRemSysCapEnabled;
        default: return nullptr;
    }
}

// Fills the row for the column asked for: only that column's string is made
// (the method routine binds one column per request).  Every line is written
// as ever; a value that only a line shows is worked out while its line is on.
int fill_remote_entry(const neighbor_td* n, int nominator) {
    const lldp_neighbor_mib* mib = n->mib;
    const lldp_neighbor_detail* detail = n->detail;
    lldpRemEntry_t* row = &lldpRemEntry;
    memset(row, 0, sizeof *row);
    bool verbose = lldpmib_lines_on(LLDP_ROW_VERBOSE);
    bool caps_traced = verbose || lldpmib_lines_on(LLDP_ROW_TRACE);
    char chassis[256];
    chassis[0] = '\0';
    if (lldpmib_lines_on(LLDP_ROW_ERROR)) lldpmib_chassis_text(n, chassis, sizeof chassis);
    LLDPMIB_ERROR(kShim, "lldpremchassisID:%s\n", chassis);
    row->lldpRemTimeMark = mib->time_mark;
    row->lldpRemLocalPortNum = (int32_t)mib->port_num;
    row->lldpRemIndex = (int32_t)mib->rem_index;
    row->lldpRemChassisIdSubtype = mib->chassis_id_subtype;
    bool chassis_mac = mib->chassis_id_subtype == 4;
    served_id id;
    if (nominator == COL_CHASSIS_ID || verbose) {
        work_out_id(n->chassis_id, mib->chassis_id_len, chassis_mac, &id);
        if (nominator == COL_CHASSIS_ID) row->lldpRemChassisId = MakeOctetString(id.bytes, id.length);
    }
    LLDPMIB_VERBOSE(kShim, "RemChassis ID %s MAC type, length: %d",
                    chassis_mac ? "" : "NOT", 14);
    LLDPMIB_ERROR(kShim, "chid:%s, chid_len:%d", chassis, (int)mib->chassis_id_len);
    row->lldpRemPortIdSubtype = mib->port_id_subtype;
    if (nominator == COL_PORT_ID || verbose) {
        work_out_id(n->port_id, mib->port_id_len, mib->port_id_subtype == 3, &id);
        if (nominator == COL_PORT_ID) row->lldpRemPortId = MakeOctetString(id.bytes, id.length);
    }
    uint32_t combined = (uint32_t)mib->enabled_caps | ((uint32_t)mib->supported_caps << 16);
    LLDPMIB_VERBOSE(kShim, "Combined caps: %08x\n", combined);
    unsigned char caps[2];
    if (nominator == COL_CAP_SUPPORTED || caps_traced) {
        work_out_caps(mib->supported_caps, "S", caps);
        if (nominator == COL_CAP_SUPPORTED) row->lldpRemSysCapSupported = MakeOctetString(caps, 2);
    }
    if (nominator == COL_CAP_ENABLED || caps_traced) {
        work_out_caps(mib->enabled_caps, "E", caps);
        if (nominator == COL_CAP_ENABLED) row->lldpRemSysCapEnabled = MakeOctetString(caps, 2);
    }
    if (nominator == COL_PORT_DESC) row->lldpRemPortDesc = MakeOctetStringFromText(detail->port_desc);
    if (nominator == COL_SYS_NAME) row->lldpRemSysName = MakeOctetStringFromText(detail->sys_name);
    if (nominator == COL_SYS_DESC) row->lldpRemSysDesc = MakeOctetStringFromText(detail->sys_desc);
    OctetString** field = column_string(row, nominator);
    if (field != nullptr && *field == nullptr) {
        lldpmib_free_remote_entry_row();
        return 0;
    }
    return 1;
}

// ---- Hooks of the engine ----

void entry_checking(const lldpmib_remote_request* rq) {
    LLDPMIB_VERBOSE(kShim,
                    "Checking for SerialNum:%d, timemark:%d, interface: %d, remindex:%d, "
                    "nominator:%d\n",
                    rq->serial, (int)rq->time_mark, (int)rq->port, (int)rq->rem_index,
                    rq->nominator);
}

void entry_add_rows(lldpmib_remote_snapshot* s, neighbor_td* copy) {
    const lldp_neighbor_mib* mib = copy->mib;
    lldpmib_remote_add_row(s, lldpmib_remote_key(mib->time_mark, mib->port_num, mib->rem_index),
                           copy, nullptr);
}

bool entry_fill(const lldpmib_remote_request* rq, const lldpmib_row_ref* row) {
    return fill_remote_entry(row->neighbor, rq->nominator) != 0;
}

bool entry_keep(const neighbor_td*) { return true; }

const lldpmib_remote_lines remote_entry_lines = {
    // A GET missing in a live snapshot asks for its port without this line.
    .already =
        [](const char* fn, const lldpmib_remote_request* rq) {
            if (rq->search_type == NEXT)
                LLDPMIB_VERBOSE(fn, "Remote entry table cache already exist\n");
        },
    .creating =
        [](const char* fn) {
            LLDPMIB_VERBOSE(fn, "Creating Remote entry table cache\n");
        },
    .attempt =
        [](const char* fn, const lldpmib_remote_request* rq, uint32_t port, uint32_t ifhandle) {
            int rem_index = port == rq->key[1] ? (int)rq->rem_index : 0;
            LLDPMIB_VERBOSE(fn,
                            "Attempt rem entry for interface index:%d, rem_index:%d ifhandle:%x\n",
                            (int)port, rem_index, ifhandle);
        },
    .found =
        [](const char* fn, uint32_t port) {
            LLDPMIB_VERBOSE(fn, "Found lldpRemTable data forifIndex %d", (int)port);
        },
    .failed =
        [](const char* fn, uint32_t port) {
            LLDPMIB_ERROR(fn, "Failed retrieving lldpRemTable datafor ifIndex %d", (int)port);
        },
    .stored = nullptr,
    // total_entries: the copies held once a port was iterated.
    .iterated =
        [](const char*, lldpmib_snapshot* s, uint32_t, uint32_t) {
            s->total_entries = kel_list_get_size(s->list);
        },
    .search =
        [](const lldpmib_remote_request* rq, const lldpmib_row* hit) {
            const char* find = "lldpmib_find_remote_entry";
            LLDPMIB_TRACE(find);
            LLDPMIB_VERBOSE(find, "searchType: %x, timeMark: %x, localPortNum: %x,remIndex: %x\n",
                            (unsigned)rq->search_type, rq->time_mark, (unsigned)rq->port,
                            (unsigned)rq->rem_index);
            if (hit == nullptr) return;
            if (rq->search_type == NEXT)
                LLDPMIB_VERBOSE(find, "ifIndex: %u, remIndex: %u\n", hit->first[1], hit->first[2]);
            LLDPMIB_MIB(find, "result found\n");
        },
    .cached =
        [](const char* fn, const lldpmib_remote_request* rq, const lldpmib_row* hit) {
            LLDPMIB_VERBOSE(fn, "Cached for timemark:%d, interface: %d,remindex:%d\n",
                            (int)rq->time_mark, (int)hit->first[1], (int)hit->first[2]);
        },
    .totals = lldpmib_remote_totals_line,
};

lldpmib_remote_snapshot remote_entry_snapshot;

const lldpmib_remote_table remote_entry_table = {
    .fn = kShim,
    .snapshot = &remote_entry_snapshot,
    .kind = &remote_entry_kind,
    .lines = &remote_entry_lines,
    .last_nominator = 11,
    .port_walk_lines = true,
    .asked_time_mark_on_every_port = false,
    .next_port = lldp_client_get_next_if_remote,
    .callback = lldpmib_get_first_neighbor_td,
    .checking = entry_checking,
    .add_rows = entry_add_rows,
    .fill = entry_fill,
};

}  // namespace

extern "C" {

void lldpmib_release_remote_entry_snapshot(void) { lldpmib_remote_release(&remote_entry_table); }

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

int lldpmib_get_first_neighbor_td(void* record, void* list, void* context) {
    return lldpmib_remote_store("lldpmib_get_first_neighbor_td", entry_keep, record, list,
                                context);
}

lldpRemEntry_t* lldpmib_shim_remote_entry_get(int serialNum, void* contextInfo, int nominator,
                                              int searchType, uint32_t timeMark,
                                              int32_t localPortNum, int32_t remIndex) {
    LLDPMIB_TRACE(kShim);
    lldpmib_lock();
    lldpmib_free_remote_entry_row();
    lldpmib_remote_request rq = {serialNum, nominator, searchType, timeMark, localPortNum, remIndex,
                                 lldpmib_remote_key(timeMark, (uint32_t)localPortNum,
                                                    (uint32_t)remIndex),
                                 nullptr};
    int filled = lldpmib_remote_shim_run(&remote_entry_table, &rq);
    lldpmib_unlock();
    return filled ? &lldpRemEntry : nullptr;
}

}  // extern "C"
