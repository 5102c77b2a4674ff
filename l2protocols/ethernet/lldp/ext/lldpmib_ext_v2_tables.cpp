// LLDP-V2-MIB's tables: the 2005 MIB's data under the 2009 names.  The local
// and remote groups are what the module serves, read through its own method
// routines (so every value, ID form and capability order is the module's, from
// its snapshots), re-indexed: remote rows gain the destination address index
// after the local port.  Configuration and statistics come from this
// library's snapshot.  Every neighbour and port is served under destination
// address 1, the nearest bridge, the only one the LLDP daemons here use.
#include <algorithm>
#include <iterator>

#include "lldpmib_ext_internal.h"
#include "lldpmib_ext_rows.h"

extern "C" {
extern ObjectInfo lldpmib_OidList[];
extern int32_t lldpmib_OidListNum;
}

namespace lldpmib_rows {

namespace {

const uint32_t kNearestBridge = 1;
// lldpV2DestAddressTable: nearest bridge, nearest non-TPMR bridge, nearest customer bridge.
const char* const kDestAddresses[] = {"\x01\x80\xc2\x00\x00\x0e", "\x01\x80\xc2\x00\x00\x03",
                                      "\x01\x80\xc2\x00\x00\x00"};
// The MIB's defaults where the daemon has no setting: lldpV2TxCreditMax,
// lldpV2MessageFastTx, lldpV2TxFastInit.
const uint32_t kTxCreditMax = 5, kMessageFastTx = 1, kTxFastInit = 4;
const int32_t kRowStatusActive = 1;
const value kIndex{};

enum {
    CONFIG, PORT_CONFIG, DEST_ADDRESS, MAN_ADDR_CONFIG, STATISTICS, STATS_TX, STATS_RX,
    LOCAL_SYSTEM, LOCAL_PORT, LOCAL_MAN_ADDR, REMOTE, REMOTE_MAN_ADDR, REMOTE_UNKNOWN_TLV, REMOTE_ORG_DEF,
    TABLES
};

value number(uint32_t n) { return value{value::number, n, {}, {}}; }

value of(const VarBind* vb) {
    switch (vb->type) {
        case OCTET_PRIM_TYPE:
            return octets(std::string(reinterpret_cast<const char*>(vb->value.os->octet_ptr), vb->value.os->length));
        case OBJECT_ID_TYPE:
            return value{value::oid, 0, {}, {vb->value.oid->oid_ptr, vb->value.oid->oid_ptr + vb->value.oid->length}};
        default:
            return number(vb->value.ulval);
    }
}

// Calls each(instance, value) for every instance the module serves of the
// column `tail` of lldpMIB (1.0.8802.1.1.2), in order.
template <typename F>
void walk_module(std::initializer_list<uint32_t> tail, F each) {
    std::vector<uint32_t> name = {1, 0, 8802, 1, 1, 2};
    name.insert(name.end(), tail);
    const ObjectInfo* o = std::find_if(lldpmib_OidList, lldpmib_OidList + lldpmib_OidListNum, [&](const ObjectInfo& x) {
        return std::equal(name.begin(), name.end(), x.oid.oid_ptr, x.oid.oid_ptr + x.oid.length);
    });
    if (o == lldpmib_OidList + lldpmib_OidListNum) return;
    const size_t length = name.size();
    for (;;) {
        OID incoming{int32_t(name.size()), name.data()};
        VarBind* vb = o->get(&incoming, const_cast<ObjectInfo*>(o), NEXT, nullptr, 0);
        if (vb == nullptr) return;
        std::vector<uint32_t> next(vb->name->oid_ptr, vb->name->oid_ptr + vb->name->length);
        value v = of(vb);
        FreeVarBind(vb);
        if (next.size() <= length || !std::equal(name.begin(), name.begin() + length, next.begin()) || next <= name)
            return;
        each(std::vector<uint32_t>(next.begin() + length, next.end()), v);
        name = std::move(next);
    }
}

// The rows of one table from module columns: column c of the V2 table (from
// 1) takes the values of the module's column at `tails[i]` for the i-th
// such pair; rows are keyed by the V2 instance remap(2005 instance).
struct sourced_column {
    int v2_column;
    std::initializer_list<uint32_t> tail;
};

template <typename Remap>
void from_module(std::vector<row>& out, int columns, std::initializer_list<sourced_column> sources, Remap remap) {
    // The columns walk the same instances in the same order (remapping keeps
    // it): the rows are found by bisection, mostly appended.
    std::vector<row> rows;
    auto before = [](const row& r, const std::vector<uint32_t>& i) { return r.instance < i; };
    for (const sourced_column& s : sources)
        walk_module(s.tail, [&](const std::vector<uint32_t>& instance, const value& v) {
            std::vector<uint32_t> name = remap(instance);
            auto it = std::lower_bound(rows.begin(), rows.end(), name, before);
            if (it == rows.end() || it->instance != name)
                it = rows.insert(it, row{std::move(name), std::vector<value>(columns)});
            it->columns[s.v2_column - 1] = v;
        });
    out.insert(out.end(), std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
}

std::vector<uint32_t> same(const std::vector<uint32_t>& i) { return i; }

// (time mark, local port, remote index, ...) → (..., local port, destination address, remote index, ...).
std::vector<uint32_t> remote(const std::vector<uint32_t>& i) {
    std::vector<uint32_t> v = i;
    if (v.size() >= 2) v.insert(v.begin() + 2, kNearestBridge);
    return v;
}

void configuration(const lldpmib_ext_data& d, tables& out) {
    if (d.has_config)
        out[CONFIG].push_back(make_row({}, {0}, {number(d.config.tx_interval), number(d.config.tx_hold),
                                                 number(d.config.reinit_delay),
                                                 number(uint32_t(lldpmib_ext_notification_interval())),
                                                 number(kTxCreditMax), number(kMessageFastTx), number(kTxFastInit)}));
    for (uint32_t i = 0; i < 3; ++i)
        out[DEST_ADDRESS].push_back(make_row({}, {i + 1}, {kIndex, octets(std::string(kDestAddresses[i], 6))}));
    for (const lldp_port_stats& p : d.ports) {
        const std::vector<uint32_t> key = {p.port_num, kNearestBridge};
        const bool notify = p.notification_enable || lldpmib_ext_notify_all_ports();
        out[PORT_CONFIG].push_back(make_row(key, {}, {kIndex, kIndex, integer(p.admin_status), truth(notify),
                                                      bits(p.tlvs_tx, 4)}));
        for (const lldpmib_ext_man_addr& a : d.man_addrs) {
            row r = make_row(key, {uint32_t(a.subtype), uint32_t(a.octets.size())},
                             {kIndex, kIndex, kIndex, kIndex, truth(p.man_addr_tx), integer(kRowStatusActive)});
            r.instance.insert(r.instance.end(), a.octets.begin(), a.octets.end());
            out[MAN_ADDR_CONFIG].push_back(std::move(r));
        }
        out[STATS_TX].push_back(make_row(key, {}, {kIndex, kIndex, number(p.tx_frames), number(0)}));
        out[STATS_RX].push_back(make_row(key, {}, {kIndex, kIndex, number(p.rx_frames_discarded),
                                                   number(p.rx_frames_errors), number(p.rx_frames),
                                                   number(p.rx_tlvs_discarded), number(p.rx_tlvs_unrecognized),
                                                   number(p.ageouts)}));
    }
    if (d.has_remote)
        out[STATISTICS].push_back(make_row({}, {0}, {number(d.remote.last_change_time), number(d.remote.inserts),
                                                     number(d.remote.deletes), number(d.remote.drops),
                                                     number(d.remote.ageouts)}));
}

bool build(const lldpmib_ext_data& d, tables& out) {
    configuration(d, out);
    from_module(out[LOCAL_SYSTEM], 6, {{1, {1, 3, 1}}, {2, {1, 3, 2}}, {3, {1, 3, 3}}, {4, {1, 3, 4}},
                                       {5, {1, 3, 5}}, {6, {1, 3, 6}}}, same);
    from_module(out[LOCAL_PORT], 4, {{2, {1, 3, 7, 1, 2}}, {3, {1, 3, 7, 1, 3}}, {4, {1, 3, 7, 1, 4}}}, same);
    from_module(out[LOCAL_MAN_ADDR], 6, {{3, {1, 3, 8, 1, 3}}, {4, {1, 3, 8, 1, 4}}, {5, {1, 3, 8, 1, 5}},
                                         {6, {1, 3, 8, 1, 6}}}, same);
    from_module(out[REMOTE], 15, {{5, {1, 4, 1, 1, 4}}, {6, {1, 4, 1, 1, 5}}, {7, {1, 4, 1, 1, 6}},
                                  {8, {1, 4, 1, 1, 7}}, {9, {1, 4, 1, 1, 8}}, {10, {1, 4, 1, 1, 9}},
                                  {11, {1, 4, 1, 1, 10}}, {12, {1, 4, 1, 1, 11}}, {13, {1, 4, 1, 1, 12}}}, remote);
    // Remote changes are not reported by the daemons; too many neighbours is
    // the port having dropped one.
    for (row& r : out[REMOTE]) {
        auto port = std::find_if(d.ports.begin(), d.ports.end(),
                                 [&](const lldp_port_stats& p) { return p.port_num == r.instance[1]; });
        r.columns[13] = truth(false);
        r.columns[14] = truth(port != d.ports.end() && port->drops > 0);
    }
    from_module(out[REMOTE_MAN_ADDR], 5, {{3, {1, 4, 2, 1, 3}}, {4, {1, 4, 2, 1, 4}}, {5, {1, 4, 2, 1, 5}}}, remote);
    from_module(out[REMOTE_UNKNOWN_TLV], 2, {{2, {1, 4, 3, 1, 2}}}, remote);
    from_module(out[REMOTE_ORG_DEF], 4, {{4, {1, 4, 4, 1, 4}}}, remote);
    return true;
}

}  // namespace

const table_set v2_tables{TABLES, build};

}  // namespace lldpmib_rows
