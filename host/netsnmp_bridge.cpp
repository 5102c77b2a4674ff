#include "netsnmp_bridge.h"

#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <stdint.h>

#include <algorithm>
#include <vector>

#include "mib_router.h"

namespace lldpmib_host {

namespace {

// The subtrees served: lldpMIB and lldpV2MIB.
const oid kLldpMib[] = {1, 0, 8802, 1, 1, 2};
const oid kLldpV2Mib[] = {1, 3, 111, 2, 802, 1, 1, 13};

struct Served {
    const mib_router::Router* router = nullptr;
    void* context = nullptr;
    std::vector<netsnmp_handler_registration*> registrations;
} served;

mib_router::Oid to_router_oid(const oid* name, size_t len, bool* ok) {
    mib_router::Oid out;
    out.reserve(len);
    *ok = true;
    for (size_t i = 0; i < len; ++i) {
        if (name[i] > UINT32_MAX && (name[i] >> 32) != UINT32_MAX) *ok = false;
        out.push_back(static_cast<uint32_t>(name[i]));
    }
    return out;
}

// Puts a module binding into the response varbind.
bool set_value(netsnmp_variable_list* var, const mib_router::Binding& b) {
    switch (b.type) {
    case mib_router::kInteger: {
        long v = b.integer;
        return snmp_set_var_typed_value(var, ASN_INTEGER, &v, sizeof v) == 0;
    }
    case mib_router::kCounter32:
    case mib_router::kGauge32:
    case mib_router::kTimeTicks: {
        const u_char asn = b.type == mib_router::kCounter32 ? ASN_COUNTER
                           : b.type == mib_router::kGauge32 ? ASN_GAUGE
                                                            : ASN_TIMETICKS;
        // net-snmp keeps these as a long holding the 32-bit value.
        u_long v = b.unsigned_value;
        return snmp_set_var_typed_value(var, asn, &v, sizeof v) == 0;
    }
    case mib_router::kOctets: {
        static const u_char empty = 0;
        const u_char* p = b.octets.empty() ? &empty : b.octets.data();
        return snmp_set_var_typed_value(var, ASN_OCTET_STR, p, b.octets.size()) == 0;
    }
    case mib_router::kObjectId: {
        // An identifier value has at least two sub-identifiers on the wire.
        std::vector<oid> v(b.oid.begin(), b.oid.end());
        while (v.size() < 2) v.push_back(0);
        return snmp_set_var_typed_value(var, ASN_OBJECT_ID, v.data(), v.size() * sizeof(oid)) == 0;
    }
    }
    return false;
}

int lldpmib_handler(netsnmp_mib_handler*, netsnmp_handler_registration* reginfo,
                    netsnmp_agent_request_info* reqinfo, netsnmp_request_info* requests) {
    const mib_router::Router& router = *served.router;
    for (netsnmp_request_info* req = requests; req; req = req->next) {
        if (req->processed) continue;
        netsnmp_variable_list* var = req->requestvb;
        bool ok = true;
        mib_router::Oid name = to_router_oid(var->name, var->name_length, &ok);
        mib_router::Binding b;
        switch (reqinfo->mode) {
        case MODE_GET: {
            mib_router::GetResult r =
                ok ? router.get(name, &b, served.context) : mib_router::GetResult::NoSuchObject;
            if (r == mib_router::GetResult::Found && set_value(var, b))
                break;
            netsnmp_set_request_error(reqinfo, req,
                                      r == mib_router::GetResult::NoSuchObject ? SNMP_NOSUCHOBJECT
                                                                               : SNMP_NOSUCHINSTANCE);
            break;
        }
        case MODE_GETNEXT: {
            // Nothing after the name inside this registration's subtree: the
            // varbind stays as it was and the master moves on past it.
            const mib_router::Oid subtree(reginfo->rootoid, reginfo->rootoid + reginfo->rootoid_len);
            if (!ok || !router.next(name, &b, served.context, &subtree) || !mib_router::is_prefix(subtree, b.name))
                break;
            std::vector<oid> out(b.name.begin(), b.name.end());
            snmp_set_var_objid(var, out.data(), out.size());
            if (!set_value(var, b)) netsnmp_set_request_error(reqinfo, req, SNMP_ERR_GENERR);
            break;
        }
        default:
            // The registration is read-only; SETs never get here.
            netsnmp_set_request_error(reqinfo, req, SNMP_ERR_NOTWRITABLE);
            break;
        }
    }
    return SNMP_ERR_NOERROR;
}

}  // namespace

bool register_lldp_mib(const mib_router::Router* router, void* context) {
    served.router = router;
    served.context = context;
    const struct {
        const char* name;
        const oid* root;
        size_t length;
    } subtrees[] = {{"lldpMIB", kLldpMib, OID_LENGTH(kLldpMib)}, {"lldpV2MIB", kLldpV2Mib, OID_LENGTH(kLldpV2Mib)}};
    for (const auto& t : subtrees) {
        netsnmp_handler_registration* reg =
            netsnmp_create_handler_registration(t.name, lldpmib_handler, t.root, t.length, HANDLER_CAN_RONLY);
        if (!reg || netsnmp_register_handler(reg) != MIB_REGISTERED_OK) {
            unregister_lldp_mib();
            return false;
        }
        served.registrations.push_back(reg);
    }
    return true;
}

void unregister_lldp_mib() {
    for (netsnmp_handler_registration* reg : served.registrations) netsnmp_unregister_handler(reg);
    served.registrations.clear();
}

}  // namespace lldpmib_host
