#include "model_driver.h"

#include <stdlib.h>

#include <algorithm>
#include <array>

#include "lldp_client.h"
#include "lldpmib.h"
#include "mib_walker.h"
#include "platform_fault.h"
#include "platform_sys.h"

namespace lldpmib_test {

namespace {

using rng_t = std::mt19937_64;

constexpr uint32_t kMaxIndex = 2147483647u;  // ports, remote indexes, TLV indexes
constexpr uint32_t kMaxSub = 4294967295u;

uint64_t pick(rng_t& r, uint64_t n) { return n ? r() % n : 0; }
bool chance(rng_t& r, unsigned percent) { return pick(r, 100) < percent; }
template <typename T>
T one_of(rng_t& r, std::initializer_list<T> v) {
    return *(v.begin() + pick(r, v.size()));
}

uint32_t boundary(rng_t& r, uint32_t x) {
    return one_of<uint32_t>(r, {0, 1, kMaxIndex, kMaxIndex + 1u, kMaxSub, x + 1, x - 1, 9, 126, 127, 255, 256});
}

// Client copies alive of neighbours, interfaces and local addresses.
std::array<int64_t, 3> live_copies() {
    std::array<int64_t, 3> out;
    const char* what[3] = {"neighbor", "interface", "local_ma"};
    for (int k = 0; k < 3; ++k) {
        const std::string copy = std::string("lldp_client_copy_") + what[k] + "_td";
        const std::string free_op = std::string("lldp_client_free_") + what[k] + "_td";
        out[k] = static_cast<int64_t>(platform_fault_calls(copy.c_str())) -
                 static_cast<int64_t>(platform_fault_calls(free_op.c_str()));
    }
    return out;
}

// The answer to one request, as a walker line; what the reference answers.
std::pair<std::string, std::string> answer(bool get, const RefOid& asked, const RefMib& mib, RefOid* got_name) {
    mib_router::Binding b;
    const bool found = get ? lldpmib_router().get(asked, &b) == mib_router::GetResult::Found
                           : lldpmib_router().next(asked, &b);
    *got_name = found ? b.name : RefOid{};
    auto it = get ? mib.find(asked) : mib.upper_bound(asked);
    const char* none = get ? "no binding" : "end of MIB";
    return {found ? mib_router::format(b) : none, it != mib.end() ? ref_line(*it) : none};
}

}  // namespace

const std::vector<RefOid>& served_columns() {
    static const std::vector<RefOid> cols = [] {
        std::vector<RefOid> v;
        const struct {
            const char* entry;
            uint32_t first, last;
        } ranges[] = {{"1.3", 1, 6},   {"1.3.7.1", 2, 4}, {"1.3.8.1", 3, 6}, {"1.4.1.1", 4, 12},
                      {"1.4.2.1", 3, 5}, {"1.4.3.1", 2, 2}, {"1.4.4.1", 4, 4}};
        for (const auto& r : ranges)
            for (uint32_t c = r.first; c <= r.last; ++c) v.push_back(lldp(r.entry + ("." + std::to_string(c))));
        return v;
    }();
    return cols;
}

const std::vector<RefOid>& walk_roots() {
    static const std::vector<RefOid> roots = [] {
        std::vector<RefOid> v;
        for (const char* root : {"", "", "1.3", "1.3.7.1", "1.3.8.1", "1.4.1.1", "1.4.1.1", "1.4.2.1", "1.4.3.1",
                                 "1.4.4.1", "1.4.1.1.9", "1.4.2.1.4"})
            v.push_back(lldp(root));
        return v;
    }();
    return roots;
}

void drain_snapshots(const RefMib* mib) {
    advance_clock(1000);
    // A name in each table that no topology here has.
    for (const char* missing : {"1.3.1.3.0", "1.3.7.1.2.2147483640", "1.3.8.1.3.1.4.127.0.0.9",
                                "1.4.1.1.4.4294967292.1.1", "1.4.2.1.3.4294967292.1.1.1.4.127.0.0.9",
                                "1.4.3.1.2.4294967292.1.1.9", "1.4.4.1.4.4294967292.1.1.0.0.0.1.1"}) {
        const RefOid name = lldp(missing);
        mib_router::Binding b;
        if (!mib || !mib->count(name)) lldpmib_router().get(name, &b);
    }
}

RefOid random_name(const RefMib& mib, rng_t& r) {
    RefOid name;
    if (!mib.empty() && chance(r, 65)) {
        auto it = mib.begin();
        std::advance(it, pick(r, mib.size()));
        name = it->first;
    } else {
        name = served_columns()[pick(r, served_columns().size())];
        for (size_t i = pick(r, 12); i > 0; --i) name.push_back(chance(r, 70) ? static_cast<uint32_t>(pick(r, 12)) : boundary(r, 0));
    }
    size_t object_len = name.size() > 9 && name[6] == 1 && name[7] == 3 && name[8] <= 6 ? 9 : 11;
    switch (pick(r, 9)) {
    case 0: case 1: break;                                   // as it is
    case 2: name.resize(1 + pick(r, name.size())); break;   // a prefix
    case 3: case 4:  // one sub-identifier of the instance at or past its range
        if (name.size() > object_len) {
            size_t at = object_len + pick(r, name.size() - object_len);
            name[at] = boundary(r, name[at]);
        }
        break;
    case 5:  // too long
        for (size_t i = 1 + pick(r, 3); i > 0; --i) name.push_back(chance(r, 50) ? 0 : boundary(r, 1));
        break;
    case 6: name.resize(name.size() - std::min<size_t>(name.size() - 1, 1 + pick(r, 3))); break;  // too short
    case 7: {  // a bad string length in an address index
        size_t at = name.size() > 15 && name[7] == 4 && name[8] == 2   ? 15
                    : name.size() > 12 && name[7] == 3 && name[8] == 8 ? 12
                                                                       : 0;
        if (at && at < name.size())
            name[at] = one_of<uint32_t>(r, {0, 3, 5, 15, 17, 200, kMaxSub});
        break;
    }
    default:  // a neighbouring column
        if (name.size() > 10) name[10] = one_of<uint32_t>(r, {0, 1, 2, 3, 13, kMaxSub});
    }
    if (name.size() > mib_router::kMaxOidLen) name.resize(mib_router::kMaxOidLen);
    return name;
}

std::vector<ModelRequest> random_requests(const RefTopology& ref, rng_t& r, size_t max_requests) {
    const uint32_t managers = 1 + static_cast<uint32_t>(pick(r, 4));
    std::vector<bool> walker(managers);
    std::vector<RefOid> root(managers);
    for (uint32_t m = 0; m < managers; ++m) {
        walker[m] = chance(r, 60);
        root[m] = walk_roots()[pick(r, walk_roots().size())];
    }
    std::vector<ModelRequest> out(5 + pick(r, max_requests > 5 ? max_requests - 4 : 1));
    for (auto& q : out) {
        q.manager = static_cast<uint32_t>(pick(r, managers));
        uint64_t c = pick(r, 100);
        q.clock_step = c < 75 ? 0 : c < 90 ? 1 : c < 98 ? 2 : 100;
        if (walker[q.manager] && chance(r, 85)) {
            q.kind = ModelRequest::Walk;
            if (chance(r, 3)) root[q.manager] = walk_roots()[pick(r, walk_roots().size())];
            q.name = root[q.manager];
        } else {
            q.kind = chance(r, 40) ? ModelRequest::Get : ModelRequest::Next;
            q.name = random_name(ref.mib, r);
        }
    }
    return out;
}

std::string request_text(const ModelRequest& q) {
    static const char* kinds[] = {"GET ", "GET-NEXT ", "WALK "};
    return "m" + std::to_string(q.manager) + " +" + std::to_string(q.clock_step) + "s " + kinds[q.kind] +
           mib_router::to_text(q.name);
}

ModelOutcome run_case(const ModelCase& c, const RefTopology& ref, std::vector<std::string>* transcript) {
    ModelOutcome out;
    unsetenv("ENKT_ACTIVE");
    advance_clock(1000);  // whatever an earlier case left is stale
    platform_set_identity(ref.router_type, ref.node_id);
    char err[512] = "";
    if (lldp_client_use_topology_text(ref.json.c_str(), "model", err, sizeof err) != 0) {
        out.ok = false;
        out.message = std::string("topology refused: ") + err;
        return out;
    }
    init_lldpmib(nullptr, 1);
    const std::array<int64_t, 3> base = live_copies();
    const int64_t most[3] = {static_cast<int64_t>(4 * ref.neighbors), static_cast<int64_t>(ref.ports),
                             static_cast<int64_t>(ref.local_records)};
    static const bool check_copies = !getenv("LLDPMIB_MODEL_NO_COPY_CHECK");

    std::vector<RefOid> cursor(8), cursor_root(8);  // each manager's walk
    for (size_t i = 0; i < c.requests.size() && out.ok; ++i) {
        const ModelRequest& q = c.requests[i];
        advance_clock(q.clock_step);
        const uint32_t m = q.manager % 8;
        RefOid asked = q.name;
        if (q.kind == ModelRequest::Walk) {
            if (cursor_root[m] != q.name || cursor[m].empty()) cursor[m] = q.name;
            cursor_root[m] = q.name;
            asked = cursor[m];
        }
        out.asked.push_back(asked);
        RefOid got_name;
        const auto [got, want] = answer(q.kind == ModelRequest::Get, asked, ref.mib, &got_name);
        if (q.kind == ModelRequest::Walk) cursor[m] = mib_router::is_prefix(q.name, got_name) ? got_name : RefOid{};
        std::string line = request_text(q);
        if (q.kind == ModelRequest::Walk) line += ": GET-NEXT " + mib_router::to_text(asked);
        line += " -> " + got;
        if (got != want) {
            out.ok = false;
            out.message = "request " + std::to_string(i + 1) + " (" + request_text(q) + "): asked " +
                          mib_router::to_text(asked) + ", got " + got + ", want " + want;
            line += "   <== WRONG, want " + want;
        }
        std::array<int64_t, 3> live = live_copies();
        for (int k = 0; k < 3; ++k) live[k] -= base[k];
        if (out.ok && check_copies && (live[0] > most[0] || live[1] > most[1] || live[2] > most[2])) {
            out.ok = false;
            out.message = "request " + std::to_string(i + 1) + " (" + request_text(q) + "): live copies";
            const char* what[3] = {" neighbours ", ", interfaces ", ", local addresses "};
            for (int k = 0; k < 3; ++k)
                out.message += what[k] + std::to_string(live[k]) + " (at most " + std::to_string(most[k]) + ")";
            line += "   <== TOO MANY COPIES: " + out.message;
        }
        if (!out.ok) out.failed_at = i;
        if (transcript) transcript->push_back(line);
    }
    drain_snapshots(&ref.mib);
    init_lldpmib(nullptr, 0);
    return out;
}

ModelCase shrink_case(const ModelCase& original, const RefTopology& ref) {
    ModelCase best = original;
    ModelOutcome o = run_case(best, ref);
    if (o.ok) return best;
    best.requests.resize(o.failed_at + 1);
    size_t budget = 4000;
    auto try_case = [&](const ModelCase& c) {
        if (budget == 0 || c.requests.empty()) return false;
        --budget;
        ModelOutcome r = run_case(c, ref);
        if (r.ok) return false;
        best = c;
        best.requests.resize(r.failed_at + 1);
        return true;
    };
    // Walk steps become the GET-NEXT they made, so that they can go alone.
    ModelCase nexts = best;
    for (size_t i = 0; i < nexts.requests.size(); ++i) {
        ModelRequest& q = nexts.requests[i];
        if (q.kind == ModelRequest::Walk) q = {ModelRequest::Next, q.manager, q.clock_step, o.asked[i]};
    }
    try_case(nexts);
    // Then runs of requests, halving their length, and clock moves cut down.
    for (size_t chunk = std::max<size_t>(1, best.requests.size() / 2);; chunk /= 2) {
        for (size_t at = 0; at < best.requests.size();) {
            ModelCase c = best;
            c.requests.erase(c.requests.begin() + static_cast<ptrdiff_t>(at),
                             c.requests.begin() + static_cast<ptrdiff_t>(std::min(at + chunk, c.requests.size())));
            if (!try_case(c)) at += chunk;
        }
        if (chunk == 1) break;
    }
    for (size_t i = 0; i < best.requests.size(); ++i) {
        ModelCase c = best;
        c.requests[i].clock_step = std::min(c.requests[i].clock_step, 1u);
        if (c.requests[i].clock_step != best.requests[i].clock_step) try_case(c);
    }
    return best;
}

std::string failure_report(const std::string& title, const ModelCase& original, const RefTopology& ref) {
    ModelCase shrunk = shrink_case(original, ref);
    std::vector<std::string> transcript;
    ModelOutcome o = run_case(shrunk, ref, &transcript);
    std::string s = title + "\n  topology: " + ref.json + "\n  " + o.message + "\n  shrunk from " +
                    std::to_string(original.requests.size()) + " to " + std::to_string(shrunk.requests.size()) +
                    " requests (mN = manager N, +Ns = clock moved before the request):\n";
    for (size_t i = 0; i < transcript.size(); ++i) s += "    " + std::to_string(i + 1) + ". " + transcript[i] + "\n";
    return s;
}

}  // namespace lldpmib_test
