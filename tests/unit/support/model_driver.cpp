#include "model_driver.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "lldp_client.h"
#include "lldpmib.h"
#include "mib_walker.h"
#include "platform_fault.h"
#include "platform_sys.h"

namespace lldpmib_test {

RefOid lldp(const std::string& tail) {
    return *mib_router::parse_oid(tail.empty() ? "1.0.8802.1.1.2" : "1.0.8802.1.1.2." + tail);
}

namespace {

// The platform facts and record counts, from the topology text.
RefTopology facts_of(const std::string& text) {
    using json = nlohmann::json;
    const json t = json::parse(text);
    RefTopology r;
    r.json = text;
    r.router_type = t.value("router_type", 25u);
    r.node_id = t.value("node_id", 1u);
    for (const json& p : t.value("ports", json::array())) {
        ++r.ports;
        r.neighbors += p.value("neighbors", json::array()).size();
    }
    for (const json& rec : t.value("local_man_addrs", json::array())) r.local_records += rec.at("addrs").size();
    return r;
}

RefOid oid_of(const std::string& text) {
    auto oid = mib_router::parse_oid(text);
    if (!oid) throw std::runtime_error("bad name in the reference: " + text);
    return *oid;
}

// Runs cases.py with args and reads its cases.
std::vector<RefTopology> run_model_cases(const std::string& args) {
    const std::string command = LLDPMIB_PYTHON " " LLDPMIB_MODEL_CASES " " + args;
    FILE* out = popen(command.c_str(), "r");
    if (!out) throw std::runtime_error("cannot run " + command);
    std::string text;
    char buf[1 << 16];
    for (size_t n; (n = fread(buf, 1, sizeof buf, out)) > 0;) text.append(buf, n);
    if (pclose(out) != 0) throw std::runtime_error(command + " failed");
    std::vector<RefTopology> cases;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("topology ", 0) == 0) {
            cases.push_back(facts_of(line.substr(9)));
        } else if (cases.empty() || line == "end") {
            continue;
        } else if (line.rfind("ask ", 0) == 0) {
            cases.back().names.push_back(oid_of(line.substr(4)));
        } else {
            const size_t space = line.find(' ');
            cases.back().mib.emplace(oid_of(line.substr(0, space)), line.substr(space + 1));
        }
    }
    if (cases.empty()) throw std::runtime_error(command + " gave no topology");
    return cases;
}

using rng_t = std::mt19937_64;

uint64_t pick(rng_t& r, uint64_t n) { return n ? r() % n : 0; }
bool chance(rng_t& r, unsigned percent) { return pick(r, 100) < percent; }

// Client copies alive of neighbours, interfaces and local addresses.
const char* const kCopied[3] = {"neighbor", "interface", "local_ma"};
std::array<int64_t, 3> live_copies() {
    std::array<int64_t, 3> out;
    for (int k = 0; k < 3; ++k) {
        const std::string copy = "lldp_client_copy_" + std::string(kCopied[k]) + "_td";
        const std::string free = "lldp_client_free_" + std::string(kCopied[k]) + "_td";
        out[k] = static_cast<int64_t>(platform_fault_calls(copy.c_str()) - platform_fault_calls(free.c_str()));
    }
    return out;
}

// What the reference, and the module, answer to one request, as a walker line or "none".
std::string ref_answer(bool get, const RefOid& asked, const RefMib& mib) {
    return get ? ref_get(mib, asked) : ref_next_under(mib, asked, {});
}
std::string answer(bool get, const RefOid& asked, RefOid* got_name) {
    mib_router::Binding b;
    const bool found = get ? lldpmib_router().get(asked, &b) == mib_router::GetResult::Found
                           : lldpmib_router().next(asked, &b);
    *got_name = found ? b.name : RefOid{};
    return found ? mib_router::format(b) : "none";
}

}  // namespace

std::vector<RefTopology> reference_cases(uint64_t first_seed, size_t count) {
    return run_model_cases("cases " + std::to_string(first_seed) + " " + std::to_string(count));
}

std::vector<RefTopology> reference_changes(uint64_t first_seed, size_t count) {
    const size_t versions = 3;  // cases.py's VERSIONS
    std::vector<RefTopology> all = run_model_cases("changes " + std::to_string(first_seed) + " " + std::to_string(count));
    std::vector<RefTopology> out;
    for (size_t i = 0; i + versions <= all.size(); i += versions) {
        RefTopology t = std::move(all[i]);
        for (size_t v = 1; v < versions; ++v) {
            t.names.insert(t.names.end(), all[i + v].names.begin(), all[i + v].names.end());
            t.later.push_back(std::move(all[i + v]));
        }
        out.push_back(std::move(t));
    }
    return out;
}

const RefTopology& reference_of(const std::string& json) {
    static std::map<std::string, RefTopology> known;
    auto it = known.find(json);
    if (it != known.end()) return it->second;
    const auto path = std::filesystem::temp_directory_path() / ("lldpmib-reference-" + std::to_string(getpid()));
    std::ofstream(path) << json;
    std::vector<RefTopology> one = run_model_cases("walk " + path.string());
    std::filesystem::remove(path);
    one.front().json = json;
    return known.emplace(json, std::move(one.front())).first->second;
}

std::string ref_line(const RefMib::value_type& binding) {
    return mib_router::to_text(binding.first) + " " + binding.second;
}

std::string ref_get(const RefMib& mib, const RefOid& name) {
    auto it = mib.find(name);
    return it != mib.end() ? ref_line(*it) : "none";
}

std::string ref_next_under(const RefMib& mib, const RefOid& name, const RefOid& prefix) {
    auto it = mib.upper_bound(name);
    return it != mib.end() && mib_router::is_prefix(prefix, it->first) ? ref_line(*it) : "none";
}

const std::vector<RefOid>& walk_roots() {
    static const std::vector<RefOid> roots{lldp(""),        lldp(""),        lldp("1.3"),     lldp("1.3.7.1"),
                                           lldp("1.3.8.1"), lldp("1.4.1.1"), lldp("1.4.1.1"), lldp("1.4.2.1"),
                                           lldp("1.4.3.1"), lldp("1.4.4.1"), lldp("1.4.1.1.9"), lldp("1.4.2.1.4")};
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
    advance_clock(1);  // what those GETs fetched is stale too
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
    uint32_t data = 0;
    for (auto& q : out) {
        if (!ref.later.empty() && chance(r, 8)) data = static_cast<uint32_t>(pick(r, ref.later.size() + 1));
        q.data = data;
        q.manager = static_cast<uint32_t>(pick(r, managers));
        uint64_t c = pick(r, 100);
        q.clock_step = c < 75 ? 0 : c < 90 ? 1 : c < 98 ? 2 : 100;
        if (walker[q.manager] && chance(r, 85)) {
            q.kind = ModelRequest::Walk;
            if (chance(r, 3)) root[q.manager] = walk_roots()[pick(r, walk_roots().size())];
            q.name = root[q.manager];
        } else {
            q.kind = chance(r, 40) ? ModelRequest::Get : ModelRequest::Next;
            q.name = ref.names.empty() ? RefOid{} : ref.names[pick(r, ref.names.size())];
        }
    }
    return out;
}

// One request as text ("m1 +2s GET-NEXT 1.0.8802...").
static std::string request_text(const ModelRequest& q) {
    static const char* kinds[] = {"GET ", "GET-NEXT ", "WALK "};
    return (q.data ? "d" + std::to_string(q.data) + " " : std::string()) + "m" + std::to_string(q.manager) + " +" +
           std::to_string(q.clock_step) + "s " + kinds[q.kind] + mib_router::to_text(q.name);
}

bool serve_topology(const RefTopology& ref, std::string* error) {
    unsetenv("ENKT_ACTIVE");
    platform_set_identity(ref.router_type, ref.node_id);
    char err[512] = "";
    const bool ok = lldp_client_use_topology_text(ref.json.c_str(), "model", err, sizeof err) == 0;
    *error = err;
    return ok;
}

ModelOutcome run_case(const ModelCase& c, const RefTopology& ref, std::vector<std::string>* transcript) {
    ModelOutcome out;
    advance_clock(1000);  // whatever an earlier case left is stale
    std::string err;
    if (!serve_topology(ref, &err)) return {false, 0, "topology refused: " + err, {}};
    start_served();
    const std::array<int64_t, 3> base = live_copies();
    // Changing data: every version, the last clock second each was served in;
    // the most copies of each kind any version allows.
    std::vector<const RefTopology*> data{&ref};
    int64_t most[3] = {0, 0, 0};
    for (const RefTopology& v : ref.later) data.push_back(&v);
    for (const RefTopology* v : data) {
        const size_t n[3] = {4 * v->neighbors, v->ports, v->local_records};
        for (int k = 0; k < 3; ++k) most[k] = std::max(most[k], static_cast<int64_t>(n[k]));
    }
    std::vector<time_t> served_until(data.size(), 0);
    uint32_t current = 0;
    lldp_client_generation generation;
    const bool client_tells = lldp_client_get_generation(&generation) == 0;

    std::vector<RefOid> cursor(8), cursor_root(8);  // each manager's walk
    for (size_t i = 0; i < c.size() && out.ok; ++i) {
        const ModelRequest& q = c[i];
        time_t now = advance_clock(q.clock_step);
        if (q.data != current && q.data < data.size()) {
            served_until[current] = now;
            if (!serve_topology(*data[q.data], &err)) throw std::runtime_error("version refused: " + err);
            current = q.data;
            if (!client_tells) now = advance_clock(1);
        }
        served_until[current] = now;
        const uint32_t m = q.manager % 8;
        RefOid asked = q.name;
        if (q.kind == ModelRequest::Walk) {
            if (cursor_root[m] != q.name || cursor[m].empty()) cursor[m] = q.name;
            cursor_root[m] = q.name;
            asked = cursor[m];
        }
        out.asked.push_back(asked);
        RefOid got_name;
        const bool get = q.kind == ModelRequest::Get;
        const std::string got = answer(get, asked, &got_name);
        bool right = false;  // some version served in this second answers so (the current one is)
        for (size_t v = 0; v < data.size() && !right; ++v)
            right = served_until[v] == now && got == ref_answer(get, asked, data[v]->mib);
        if (q.kind == ModelRequest::Walk) cursor[m] = mib_router::is_prefix(q.name, got_name) ? got_name : RefOid{};
        std::string line = request_text(q);
        if (q.kind == ModelRequest::Walk) line += ": GET-NEXT " + mib_router::to_text(asked);
        line += " -> " + got;
        auto fail = [&](const std::string& why) {
            out = {false, i, "request " + std::to_string(i + 1) + " (" + request_text(q) + "): " + why, out.asked};
            line += "   <== " + why;
        };
        if (!right)
            fail("asked " + mib_router::to_text(asked) + ", got " + got + ", want " +
                 ref_answer(get, asked, data[current]->mib));
        const std::array<int64_t, 3> live = live_copies();
        for (int k = 0; k < 3 && out.ok; ++k)
            if (live[k] - base[k] > most[k])
                fail(std::to_string(live[k] - base[k]) + " " + kCopied[k] + " copies live, at most " +
                     std::to_string(most[k]));
        if (transcript) transcript->push_back(line);
    }
    drain_snapshots(&ref.mib);
    stop_served();
    return out;
}

// A shorter failing sequence, found by dropping requests while it still fails.
static ModelCase shrink_case(const ModelCase& original, const RefTopology& ref) {
    ModelCase best = original;
    ModelOutcome o = run_case(best, ref);
    if (o.ok) return best;
    best.resize(o.failed_at + 1);
    size_t budget = 4000;
    auto try_case = [&](const ModelCase& c) {
        if (budget == 0 || c.empty()) return false;
        --budget;
        ModelOutcome r = run_case(c, ref);
        if (r.ok) return false;
        best = c;
        best.resize(r.failed_at + 1);
        return true;
    };
    // Walk steps become the GET-NEXT they made, so that they can go alone.
    ModelCase nexts = best;
    for (size_t i = 0; i < nexts.size(); ++i) {
        ModelRequest& q = nexts[i];  // the version served stays
        if (q.kind == ModelRequest::Walk) q.kind = ModelRequest::Next, q.name = o.asked[i];
    }
    try_case(nexts);
    // Then runs of requests, halving their length.
    for (size_t chunk = std::max<size_t>(1, best.size() / 2);; chunk /= 2) {
        for (size_t at = 0; at < best.size();) {
            ModelCase c = best;
            c.erase(c.begin() + static_cast<ptrdiff_t>(at),
                    c.begin() + static_cast<ptrdiff_t>(std::min(at + chunk, c.size())));
            if (!try_case(c)) at += chunk;
        }
        if (chunk == 1) break;
    }
    return best;
}

std::string failure_report(const std::string& title, const ModelCase& original, const RefTopology& ref) {
    ModelCase shrunk = shrink_case(original, ref);
    std::vector<std::string> transcript;
    ModelOutcome o = run_case(shrunk, ref, &transcript);
    std::string s = title + "\n  topology: " + ref.json + "\n  " + o.message + "\n  shrunk from " +
                    std::to_string(original.size()) + " to " + std::to_string(shrunk.size()) +
                    " requests (mN = manager N, +Ns = clock moved before the request):\n";
    for (size_t i = 0; i < transcript.size(); ++i) s += "    " + std::to_string(i + 1) + ". " + transcript[i] + "\n";
    return s;
}

}  // namespace lldpmib_test
