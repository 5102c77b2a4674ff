// libFuzzer target.  The first input byte picks the mode:
//
// Even: model mode, the driver the model-based unit test uses
// (tests/unit/support/model_driver.h): four bytes pick one of 256 random
// topologies (made with their references once, at start-up), the rest are
// request records (GET, GET-NEXT and walk steps of up to four
// managers, the clock moving before each), routed through mib_router as the
// agent does.  Checked: every answer equals the reference model's, the live
// record copies stay within the topology's records; a failure prints the
// shrunk sequence and aborts.
//
// Odd: raw mode, sequences of requests with arbitrary incoming identifiers
// and search types, handed straight to the method routines (served objects and
// the configuration and statistics groups), over a fixed topology.  Records of
//   object  search  flags  nominator  count  sub-identifier x count
// object picks a record (the 27 served ones, then the unserved groups); search
// is EXACT, NEXT or an arbitrary value; flags: bit 0 use the nominator byte
// instead of the record's, bits 1-2 move the clock (0, 1, 2 or 10 s), bits 3-5
// drop that many trailing sub-identifiers of the object's own identifier before
// the instance.  A sub-identifier is one byte below 0xF0, or 0xF0-0xFF then
// four bytes little-endian.  Checked after every request: no crash or
// sanitizer report, the module lock free, the answer inside the object asked.
//
// Both modes: no crash, no sanitizer report.
//
// LLDPMIB_FUZZ_SEEDS=DIR writes a seed corpus (raw mode: the first two
// instances of every served object, as GET and GET-NEXT records; model mode: a
// few walks and scattered requests) into DIR and exits.
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <random>
#include <string>
#include <vector>

#include "kel_dt.h"
#include "lldp_client_model.h"
#include "lldpmib.h"
#include "mib_walker.h"
#include "model_driver.h"
#include "platform_sys.h"
#include "topology_gen.h"

namespace {

constexpr size_t kMaxRequests = 24;
constexpr size_t kMaxSubIds = 160;

time_t fake_now = 1500000000;
bool strict_order = false;

std::vector<ObjectInfo> records;
std::vector<std::vector<uint32_t>> unserved_oids;

void add_unserved(std::vector<uint32_t> oid, GetMethod get, uint8_t nominator) {
    unserved_oids.push_back(std::move(oid));
    ObjectInfo o{};
    o.value_type = 2;
    o.access = 0x20;
    o.nominator = nominator;
    o.attribute = 0x20;
    o.get = get;
    records.push_back(o);
}

void build_records() {
    for (int i = 0; i < lldpmib_OidListNum; ++i) records.push_back(lldpmib_OidList[i]);
    const std::vector<uint32_t> base{1, 0, 8802, 1, 1, 2, 1};
    auto under = [&](std::initializer_list<uint32_t> tail) {
        std::vector<uint32_t> v = base;
        v.insert(v.end(), tail);
        return v;
    };
    unserved_oids.reserve(8);
    add_unserved(under({1, 1}), lldpConfiguration_get, 0);
    add_unserved(under({1, 6, 1, 2}), lldpPortConfigEntry_get, 1);
    add_unserved(under({2, 1}), lldpStatistics_get, 0);
    add_unserved(under({2, 6, 1, 2}), lldpStatsTxPortEntry_get, 1);
    add_unserved(under({2, 7, 1, 2}), lldpStatsRxPortEntry_get, 1);
    size_t first = records.size() - unserved_oids.size();
    for (size_t i = 0; i < unserved_oids.size(); ++i) {
        records[first + i].oid.length = static_cast<int32_t>(unserved_oids[i].size());
        records[first + i].oid.oid_ptr = unserved_oids[i].data();
    }
}

std::shared_ptr<lldp_model::topology> fuzz_topology() {
    lldpmib_test::topology_shape shape;
    shape.ports = 3;
    shape.neighbors_per_port = 3;
    shape.addrs_per_neighbor = 3;
    shape.unknown_tlvs_per_neighbor = 2;
    shape.org_tlvs_per_neighbor = 3;
    shape.local_addr_records = 2;
    auto t = lldpmib_test::make_topology(shape);
    // Time marks that differ between neighbours exercise the time filter.
    for (auto& port : t->ports)
        for (auto& n : port.neighbors) n.time_mark = (n.rem_index % 3) * 100;
    lldp_model::port quiet;
    quiet.port_num = 7;
    quiet.port_id = "Gi0/0/0/7";
    t->ports.push_back(quiet);
    return t;
}

// Another column of the same routine.  The value type follows the column, as
// in every record the agent builds: a record whose type disagrees with its
// column is not a request an agent can make.
void retarget(ObjectInfo* record, uint8_t nominator) {
    record->nominator = nominator;
    for (int i = 0; i < lldpmib_OidListNum; ++i)
        if (lldpmib_OidList[i].get == record->get && lldpmib_OidList[i].nominator == nominator)
            record->value_type = lldpmib_OidList[i].value_type;
}

bool lock_free() {
    if (pthread_mutex_trylock(&lldpmib_mutex) != 0) return false;
    pthread_mutex_unlock(&lldpmib_mutex);
    return true;
}

bool has_prefix(const OID* name, const OID& prefix) {
    if (!name || name->length < prefix.length) return false;
    return memcmp(name->oid_ptr, prefix.oid_ptr, sizeof(uint32_t) * prefix.length) == 0;
}

[[noreturn]] void fail(const char* what) {
    fprintf(stderr, "lldpmib_fuzz: %s\n", what);
    abort();
}

// A GET-NEXT answer should follow the name asked.  The remote tables' time mark
// is a floor that a port search resets to 0 when it moves to the next port, so
// there the answer may instead follow in its instance after the time mark.
// Address indexes are searched by (type, octets) rather than by SNMP's length
// first order, so an address index of the wrong length for its type can get an
// answer that precedes it (the agent then moves on to the next object); hence
// this check runs only with LLDPMIB_FUZZ_STRICT_ORDER=1.
bool moves_on(const OID& object, const OID* asked, const OID* answer) {
    if (CmpOID(answer, asked) > 0) return true;
    bool remote = object.length == 11 && object.oid_ptr[6] == 1 && object.oid_ptr[7] == 4;
    int32_t skip = object.length + 1;
    if (!remote || asked->length < skip || answer->length < skip) return false;
    OID a{asked->length - skip, asked->oid_ptr + skip};
    OID b{answer->length - skip, answer->oid_ptr + skip};
    return CmpOID(&b, &a) > 0;
}

struct reader {
    const uint8_t* p;
    size_t left;
    bool byte(uint8_t* out) {
        if (!left) return false;
        *out = *p++;
        --left;
        return true;
    }
    bool sub_id(uint32_t* out) {
        uint8_t b;
        if (!byte(&b)) return false;
        if (b < 0xF0) {
            *out = b;
            return true;
        }
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i) {
            uint8_t c = 0;
            if (!byte(&c)) return false;
            v |= uint32_t{c} << (8 * i);
        }
        *out = v;
        return true;
    }
};

void one_request(ObjectInfo record, int search, const std::vector<uint32_t>& incoming_ids) {
    std::vector<uint32_t> ids = incoming_ids;
    OID incoming{static_cast<int32_t>(ids.size()), ids.data()};
    VarBind* vb = record.get(&incoming, &record, search, nullptr, 1);
    if (!lock_free()) fail("module lock held after a method routine");
    if (vb) {
        if (!has_prefix(vb->name, record.oid)) fail("answer outside the object asked");
        bool inside = has_prefix(&incoming, record.oid);
        if (strict_order && search != EXACT && inside &&
            !moves_on(record.oid, &incoming, vb->name)) {
            char asked[512], got[512];
            snmp_oid_to_text(&incoming, asked, sizeof asked);
            snmp_oid_to_text(vb->name, got, sizeof got);
            fprintf(stderr, "lldpmib_fuzz: asked %s (search %d), answered %s\n", asked, search, got);
            fail("GET-NEXT answer not past the name asked");
        }
        if (vb->type == OCTET_PRIM_TYPE && vb->value.os && vb->value.os->length > 0)
            (void)vb->value.os->octet_ptr[vb->value.os->length - 1];
        if (vb->type == OBJECT_ID_TYPE && vb->value.oid && vb->value.oid->length > 0)
            (void)vb->value.oid->oid_ptr[vb->value.oid->length - 1];
    }
    FreeVarBind(vb);
}

void put_subid(std::string* out, uint32_t v) {
    if (v < 0xF0) {
        out->push_back(static_cast<char>(v));
        return;
    }
    out->push_back(static_cast<char>(0xF0));
    for (int i = 0; i < 4; ++i) out->push_back(static_cast<char>(v >> (8 * i)));
}

void write_seeds(const char* dir) {
    int n = 0;
    std::vector<int> per_object(lldpmib_OidListNum, 0);
    lldpmib_test::walk_visit([&](const mib_router::Binding& b) {
        for (int i = 0; i < lldpmib_OidListNum; ++i) {
            const OID& oid = lldpmib_OidList[i].oid;
            if (b.name.size() < static_cast<size_t>(oid.length) ||
                memcmp(b.name.data(), oid.oid_ptr, sizeof(uint32_t) * oid.length) != 0)
                continue;
            if (per_object[i]++ >= 2) break;
            for (int search : {0, 1}) {
                std::string rec(1, 1);  // raw mode
                rec.push_back(static_cast<char>(i));
                rec.push_back(static_cast<char>(search));
                rec.push_back(0);
                rec.push_back(0);
                rec.push_back(static_cast<char>(b.name.size() - oid.length));
                for (size_t k = oid.length; k < b.name.size(); ++k) put_subid(&rec, b.name[k]);
                std::string path = std::string(dir) + "/seed-" + std::to_string(n++);
                FILE* f = fopen(path.c_str(), "wb");
                if (!f) return false;
                fwrite(rec.data(), 1, rec.size(), f);
                fclose(f);
            }
            break;
        }
        return n < 400;
    });
    fprintf(stderr, "lldpmib_fuzz: %d seeds written to %s\n", n, dir);
}

std::string raw_topology;
std::vector<lldpmib_test::RefTopology> model_topologies;

// Model-mode seeds: a topology seed, then walks of lldpMIB by two managers
// with the clock moving, and scattered GET and GET-NEXT records.
void write_model_seeds(const char* dir) {
    int n = 0;
    for (uint8_t seed = 0; seed < 24; ++seed) {
        std::string rec{0, 0, 0, 0, static_cast<char>(seed)};
        for (int k = 0; k < 40; ++k) {
            uint8_t manager = k % 2, clock = (k % 7 == 0) ? 1 : (k % 11 == 0) ? 2 : 0;
            if (seed % 3 == 0 && k % 4 == 3) {  // scattered GET or GET-NEXT
                rec.push_back(static_cast<char>((k % 2) | manager << 2 | clock << 4));
                rec.push_back(static_cast<char>(k * 7 + seed));
                rec.push_back(static_cast<char>(k));
            } else {  // a walk step of lldpMIB or of a table
                rec.push_back(static_cast<char>(2 | manager << 2 | clock << 4));
                rec.push_back(static_cast<char>(seed % 2 ? 0 : seed % 12));
            }
        }
        std::string path = std::string(dir) + "/model-seed-" + std::to_string(n++);
        FILE* f = fopen(path.c_str(), "wb");
        if (!f) return;
        fwrite(rec.data(), 1, rec.size(), f);
        fclose(f);
    }
    fprintf(stderr, "lldpmib_fuzz: %d model seeds written to %s\n", n, dir);
}

void load_raw_topology() {
    char err[512] = "";
    platform_set_identity(25, 1);
    if (lldp_client_use_topology_text(raw_topology.c_str(), "fuzz", err, sizeof err) != 0) {
        fprintf(stderr, "lldpmib_fuzz: %s\n", err);
        abort();
    }
}

void raw_input(const uint8_t* data, size_t size) {
    // Each input starts with every snapshot stale, so it replays alike.
    fake_now += 100;
    platform_set_fake_time(fake_now);
    load_raw_topology();
    lldpmib_test::start_served();
    reader in{data, size};
    for (size_t r = 0; r < kMaxRequests; ++r) {
        uint8_t object, search_sel, flags, nominator, count;
        if (!in.byte(&object) || !in.byte(&search_sel) || !in.byte(&flags) ||
            !in.byte(&nominator) || !in.byte(&count))
            break;
        ObjectInfo record = records[object % records.size()];
        int search = EXACT;
        switch (search_sel & 3) {
        case 0: search = EXACT; break;
        case 1:
        case 2: search = NEXT; break;
        default: search = static_cast<int>(search_sel) * 131 - 20000; break;
        }
        if (flags & 1) retarget(&record, nominator);
        static const int kSteps[4] = {0, 1, 2, 10};
        if (int step = kSteps[(flags >> 1) & 3]) {
            fake_now += step;
            platform_set_fake_time(fake_now);
        }
        size_t cut = (flags >> 3) & 7;
        size_t keep = static_cast<size_t>(record.oid.length) > cut ? record.oid.length - cut : 0;
        std::vector<uint32_t> ids(record.oid.oid_ptr, record.oid.oid_ptr + keep);
        for (size_t k = 0; k < count && ids.size() < kMaxSubIds; ++k) {
            uint32_t v;
            if (!in.sub_id(&v)) break;
            ids.push_back(v);
        }
        one_request(record, search, ids);
    }
    lldpmib_test::stop_served();
}

// A model case from the input: a topology's number, then request records.
lldpmib_test::ModelCase model_case(const uint8_t* data, size_t size, const lldpmib_test::RefTopology** ref) {
    struct reader {
        const uint8_t* p;
        size_t left;
        uint8_t byte() {
            if (!left) return 0;
            --left;
            return *p++;
        }
        uint32_t sub_id() {
            uint8_t b = byte();
            if (b < 0xF0) return b;
            uint32_t v = 0;
            for (int i = 0; i < 4; ++i) v |= uint32_t{byte()} << (8 * i);
            return v;
        }
    } in{data, size};
    uint64_t seed = 0;
    for (int i = 0; i < 4; ++i) seed = seed << 8 | in.byte();
    *ref = &model_topologies[seed % model_topologies.size()];
    lldpmib_test::ModelCase c;
    // Request records: head (kind, manager, clock), source, then the source's bytes.
    static const uint32_t kSteps[4] = {0, 1, 2, 100};
    while (in.left && c.size() < 64) {
        uint8_t head = in.byte(), source = in.byte();
        lldpmib_test::ModelRequest q;
        q.kind = static_cast<lldpmib_test::ModelRequest::Kind>((head & 3) % 3);
        q.manager = (head >> 2) & 3;
        q.clock_step = kSteps[(head >> 4) & 3];
        if (q.kind == lldpmib_test::ModelRequest::Walk) {
            q.name = lldpmib_test::walk_roots()[source % lldpmib_test::walk_roots().size()];
        } else if (head & 0x40) {  // raw: a table or column, then sub-identifiers
            q.name = lldpmib_test::walk_roots()[source % lldpmib_test::walk_roots().size()];
            for (uint8_t n = in.byte() % 24; n > 0 && in.left; --n) q.name.push_back(in.sub_id());
        } else {  // one of the names the reference gives to ask
            const auto& names = (*ref)->names;
            q.name = names.empty() ? lldpmib_test::RefOid{} : names[(source << 8 | in.byte()) % names.size()];
        }
        c.push_back(std::move(q));
    }
    return c;
}

void model_input(const uint8_t* data, size_t size) {
    const lldpmib_test::RefTopology* ref = nullptr;
    lldpmib_test::ModelCase c = model_case(data, size, &ref);
    lldpmib_test::ModelOutcome o = lldpmib_test::run_case(c, *ref);
    if (!lock_free()) fail("module lock held after a request");
    if (o.ok) return;
    fprintf(stderr, "lldpmib_fuzz: %s\n",
            lldpmib_test::failure_report("answer differs from the reference model", c, *ref).c_str());
    fail("model check failed");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    platform_set_fake_time(fake_now);
    kel_dt_set_output(1, nullptr);
    // Every trace line is formatted (and thrown away): the formats take the
    // fuzzed values too.
    kel_dt_configure(getenv("LLDPMIB_FUZZ_TRACE") ? getenv("LLDPMIB_FUZZ_TRACE") : "all");
    raw_topology = lldpmib_test::topology_json(*fuzz_topology());
    build_records();
    model_topologies = lldpmib_test::reference_cases(0, 256);
    strict_order = getenv("LLDPMIB_FUZZ_STRICT_ORDER") != nullptr;
    if (const char* dir = getenv("LLDPMIB_FUZZ_SEEDS")) {
        load_raw_topology();
        lldpmib_test::start_served();
        write_seeds(dir);
        lldpmib_test::stop_served();
        write_model_seeds(dir);
        exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    if (data[0] & 1)
        raw_input(data + 1, size - 1);
    else
        model_input(data + 1, size - 1);
    return 0;
}
