// Routes SNMP requests to the method routines of a module's object list, the
// way the router's agent does: GET asks the object holding the name with
// EXACT; GET-NEXT asks the objects in identifier order with NEXT until one
// answers with a name past the one requested.  Shared by the in-process walker
// and the AgentX host.
#pragma once
#include <stdint.h>

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// The agent library's records, by name only: the AgentX host includes
// net-snmp, whose declarations clash with the agent library's header.
struct ObjectInfo;
struct VarBind;

namespace mib_router {

// Value kinds, the ASN.1 tags the libraries use (the agent library's
// INTEGER_TYPE, OCTET_PRIM_TYPE, OBJECT_ID_TYPE, COUNTER_TYPE, GAUGE_TYPE and
// TIME_TICKS_TYPE).
enum ValueType : int {
    kInteger = 2,
    kOctets = 4,
    kObjectId = 6,
    kCounter32 = 0x41,
    kGauge32 = 0x42,
    kTimeTicks = 0x43,
};

using Oid = std::vector<uint32_t>;

// Longest name a request may carry (net-snmp's limit).
constexpr size_t kMaxOidLen = 128;

// A binding copied out of the module's VarBind.
struct Binding {
    Oid name;
    int type = 0;  // a ValueType
    int32_t integer = 0;    // kInteger
    uint32_t unsigned_value = 0;  // kCounter32, kGauge32, kTimeTicks
    std::vector<uint8_t> octets;
    Oid oid;

    bool operator==(const Binding&) const = default;
};

enum class GetResult { Found, NoSuchObject, NoSuchInstance };

// One library's exported object list.
struct ObjectList {
    ObjectInfo* objects;
    int count;
};

class Router {
public:
    // Keeps pointers into the lists (which must outlive the router) sorted by
    // identifier.  Records without identifier or method routine are ignored.
    Router(ObjectInfo* list, int count) : Router({ObjectList{list, count}}) {}
    explicit Router(const std::vector<ObjectList>& lists);

    // GET: the object whose identifier prefixes name, asked with EXACT.
    GetResult get(const Oid& name, Binding* out, void* context = nullptr) const;
    // GET-NEXT: the least binding whose name is strictly greater than name;
    // false at the end of the served objects, or of the subtree `within`
    // when given (objects past it are not asked: a walk of one MIB does not
    // make the next one's routines work).
    bool next(const Oid& name, Binding* out, void* context = nullptr, const Oid* within = nullptr) const;
    // Every binding under root, in order; visit returns false to stop early.
    // Returns the number of bindings visited.
    size_t walk(const Oid& root, const std::function<bool(const Binding&)>& visit,
                void* context = nullptr) const;

    size_t object_count() const { return objects_.size(); }
    // Identifiers of the served objects, in routing order.
    std::vector<Oid> object_oids() const;

private:
    std::vector<ObjectInfo*> objects_;
    mutable std::atomic<int> serial_{0};
    // The object that answered the last GET-NEXT: a walk's next name lies in
    // it, so the search for where to start usually ends there.
    mutable std::atomic<size_t> last_answer_{0};
};

// -1, 0, 1 in SNMP (lexicographic) order.
int compare(const uint32_t* a, size_t alen, const uint32_t* b, size_t blen);
inline int compare(const Oid& a, const Oid& b) {
    return compare(a.data(), a.size(), b.data(), b.size());
}
// prefix is an ancestor of, or equal to, name.
bool is_prefix(const uint32_t* prefix, size_t plen, const uint32_t* name, size_t nlen);
inline bool is_prefix(const Oid& prefix, const Oid& name) {
    return is_prefix(prefix.data(), prefix.size(), name.data(), name.size());
}

// Dotted numeric text, no leading dot ("" for an empty identifier).
std::string to_text(const Oid& oid);
// Parses "1.0.8802" or ".1.0.8802": at least one sub-identifier, each a
// decimal below 2^32, at most kMaxOidLen of them.
std::optional<Oid> parse_oid(const std::string& text);
// Copies a module binding; nothing when its type or value is unusable.
std::optional<Binding> convert(const VarBind* vb);
// The walker's line: "<oid> INTEGER <decimal>", "<oid> OCTETS <lower-case
// hex>" (nothing after the space for an empty string), "<oid> OID <dotted>",
// "<oid> COUNTER32|GAUGE32|TIMETICKS <unsigned decimal>".
std::string format(const Binding& b);

}  // namespace mib_router
