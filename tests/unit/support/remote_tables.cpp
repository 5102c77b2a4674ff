#include "remote_tables.h"

#include <cstring>
#include <map>

#include "platform_fault.h"

namespace lldpmib_test {

std::string neighbors_topology(const std::vector<neighbor_spec>& neighbors) {
    std::map<uint32_t, std::string> ports;
    for (const auto& n : neighbors) {
        std::string& list = ports[n.port];
        if (!list.empty()) list += ",";
        std::string ids;
        if (n.extra.find("\"chassis_id\"") == std::string::npos)
            ids += "\"chassis_id\":{\"hex\":\"001122334455\"},";
        if (n.extra.find("\"port_id\"") == std::string::npos) ids += "\"port_id\":\"Eth1\",";
        list += "{" + ids + n.extra + "\"time_mark\":" + std::to_string(n.time_mark) +
                ",\"rem_index\":" + std::to_string(n.rem_index) + ",\"sys_name\":\"n" +
                std::to_string(n.port) + "-" + std::to_string(n.rem_index) + "\"}";
    }
    std::string out =
        "{\"lldp\":{\"enabled\":true,\"node_enabled\":true},\"local\":{\"chassis_id\":\"0011.2233.4455\"},\"ports\":[";
    bool first = true;
    for (const auto& [port, list] : ports) {
        if (!first) out += ",";
        first = false;
        out += "{\"port_num\":" + std::to_string(port) + ",\"port_id\":\"p\",\"neighbors\":[" + list + "]}";
    }
    return out + "]}";
}

void flush_remote_snapshots() {
    const int32_t last = 2147483647;
    lldpmib_shim_remote_entry_get(0, nullptr, 11, NEXT, 0, last, last);
    lldpmib_shim_remote_ma_entry_get(0, nullptr, 4, NEXT, 0, last, last, 1, nullptr);
    lldpmib_shim_remote_unknown_tlv_entry_get(0, nullptr, 1, NEXT, 0, last, last, 255);
    lldpmib_shim_remote_org_def_info_entry_get(0, nullptr, 3, NEXT, 0, last, last, nullptr, 255,
                                               last);
    platform_fault_reset();
}

void build_neighbor(built_neighbor* b, uint32_t port, uint32_t rem_index, uint32_t time_mark) {
    memset(&b->record, 0, sizeof b->record);
    memset(&b->mib, 0, sizeof b->mib);
    memset(&b->detail, 0, sizeof b->detail);
    b->mib.port_num = port;
    b->mib.rem_index = rem_index;
    b->mib.time_mark = time_mark;
    b->record.mib = &b->mib;
    b->record.detail = &b->detail;
}

}  // namespace lldpmib_test
