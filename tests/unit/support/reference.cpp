#include "reference.h"

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

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

}  // namespace

std::vector<RefTopology> reference_cases(uint64_t first_seed, size_t count) {
    return run_model_cases("cases " + std::to_string(first_seed) + " " + std::to_string(count));
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

}  // namespace lldpmib_test
