#include "mib_router.h"

#include <algorithm>
#include <charconv>

#include "snmp_agent.h"

static_assert(mib_router::kInteger == INTEGER_TYPE && mib_router::kOctets == OCTET_PRIM_TYPE &&
              mib_router::kObjectId == OBJECT_ID_TYPE);

namespace mib_router {

int compare(const uint32_t* a, size_t alen, const uint32_t* b, size_t blen) {
    size_t n = std::min(alen, blen);
    for (size_t i = 0; i < n; ++i) {
        if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
    }
    if (alen == blen) return 0;
    return alen < blen ? -1 : 1;
}

bool is_prefix(const uint32_t* prefix, size_t plen, const uint32_t* name, size_t nlen) {
    return plen <= nlen && std::equal(prefix, prefix + plen, name);
}

namespace {

size_t oid_len(const OID& oid) { return oid.length > 0 ? static_cast<size_t>(oid.length) : 0; }

bool object_less(const ObjectInfo* a, const ObjectInfo* b) {
    return compare(a->oid.oid_ptr, oid_len(a->oid), b->oid.oid_ptr, oid_len(b->oid)) < 0;
}

// Calls the method routine and takes its answer over; the VarBind is always
// freed here.
std::optional<Binding> ask(ObjectInfo* object, const Oid& incoming_name, int search_type,
                           void* context, int serial) {
    // The routine takes a mutable OID; give it a private copy.
    Oid copy = incoming_name;
    OID incoming{static_cast<int32_t>(copy.size()), copy.data()};
    VarBind* vb = object->get(&incoming, object, search_type, context, serial);
    std::optional<Binding> b = convert(vb);
    FreeVarBind(vb);
    return b;
}

}  // namespace

Router::Router(ObjectInfo* list, int count) {
    for (int i = 0; list && i < count; ++i) {
        ObjectInfo* o = &list[i];
        if (o->oid.length <= 0 || !o->oid.oid_ptr || !o->get) continue;
        objects_.push_back(o);
    }
    std::stable_sort(objects_.begin(), objects_.end(), object_less);
}

std::vector<Oid> Router::object_oids() const {
    std::vector<Oid> out;
    for (const ObjectInfo* o : objects_) out.emplace_back(o->oid.oid_ptr, o->oid.oid_ptr + oid_len(o->oid));
    return out;
}

GetResult Router::get(const Oid& name, Binding* out, void* context) const {
    if (name.empty() || name.size() > kMaxOidLen) return GetResult::NoSuchObject;
    // The most specific object holding the name answers it.
    ObjectInfo* holder = nullptr;
    for (ObjectInfo* o : objects_) {
        if (is_prefix(o->oid.oid_ptr, oid_len(o->oid), name.data(), name.size()) &&
            (!holder || oid_len(o->oid) > oid_len(holder->oid)))
            holder = o;
    }
    if (!holder) return GetResult::NoSuchObject;
    std::optional<Binding> b = ask(holder, name, EXACT, context, ++serial_);
    // An answer for another instance than the one asked is no answer.
    if (!b || b->name != name) return GetResult::NoSuchInstance;
    *out = std::move(*b);
    return GetResult::Found;
}

bool Router::next(const Oid& name, Binding* out, void* context) const {
    if (name.size() > kMaxOidLen) return false;
    // Objects wholly before name answer nothing: start at the last object not
    // above name (it may hold name), found by bisection.
    auto first = std::partition_point(objects_.begin(), objects_.end(), [&](const ObjectInfo* o) {
        return compare(o->oid.oid_ptr, oid_len(o->oid), name.data(), name.size()) <= 0;
    });
    if (first != objects_.begin()) --first;
    for (auto it = first; it != objects_.end(); ++it) {
        ObjectInfo* o = *it;
        const uint32_t* obj = o->oid.oid_ptr;
        size_t olen = oid_len(o->oid);
        Oid incoming;
        if (is_prefix(obj, olen, name.data(), name.size())) {
            incoming = name;  // inside this object: the routine continues from it
        } else if (compare(name.data(), name.size(), obj, olen) < 0) {
            incoming.assign(obj, obj + olen);  // before it: its first instance
        } else {
            continue;  // wholly before the requested name
        }
        std::optional<Binding> b = ask(o, incoming, NEXT, context, ++serial_);
        // Only an answer of this object past the requested name counts; anything
        // else (a time mark that went backwards, say) would make walks loop.
        if (!b || !is_prefix(obj, olen, b->name.data(), b->name.size()) ||
            compare(b->name, name) <= 0)
            continue;
        *out = std::move(*b);
        return true;
    }
    return false;
}

size_t Router::walk(const Oid& root, const std::function<bool(const Binding&)>& visit,
                    void* context) const {
    size_t count = 0;
    Oid cursor = root;
    Binding b;
    while (next(cursor, &b, context) && is_prefix(root, b.name)) {
        ++count;
        if (!visit(b)) break;
        cursor = b.name;
    }
    return count;
}

std::string to_text(const Oid& oid) {
    std::string s;
    for (size_t i = 0; i < oid.size(); ++i) {
        if (i) s += '.';
        s += std::to_string(oid[i]);
    }
    return s;
}

std::optional<Oid> parse_oid(const std::string& text) {
    Oid out;
    size_t pos = 0;
    if (!text.empty() && text[0] == '.') pos = 1;
    if (pos >= text.size()) return std::nullopt;
    while (true) {
        size_t end = text.find('.', pos);
        if (end == std::string::npos) end = text.size();
        if (end == pos) return std::nullopt;
        uint32_t v = 0;
        const char* first = text.data() + pos;
        const char* last = text.data() + end;
        auto [p, ec] = std::from_chars(first, last, v);
        if (ec != std::errc() || p != last) return std::nullopt;
        out.push_back(v);
        if (out.size() > kMaxOidLen) return std::nullopt;
        if (end == text.size()) break;
        pos = end + 1;
        if (pos == text.size()) return std::nullopt;  // trailing dot
    }
    return out;
}

std::optional<Binding> convert(const VarBind* vb) {
    if (!vb || !vb->name || vb->name->length <= 0 || !vb->name->oid_ptr) return std::nullopt;
    Binding b;
    b.name.assign(vb->name->oid_ptr, vb->name->oid_ptr + vb->name->length);
    b.type = vb->type;
    switch (vb->type) {
    case INTEGER_TYPE:
        b.integer = vb->value.slval;
        break;
    case OCTET_PRIM_TYPE: {
        const OctetString* os = vb->value.os;
        if (!os || os->length < 0 || (os->length > 0 && !os->octet_ptr)) return std::nullopt;
        b.octets.assign(os->octet_ptr, os->octet_ptr + os->length);
        break;
    }
    case OBJECT_ID_TYPE: {
        const OID* id = vb->value.oid;
        if (!id || id->length < 0 || (id->length > 0 && !id->oid_ptr)) return std::nullopt;
        b.oid.assign(id->oid_ptr, id->oid_ptr + id->length);
        break;
    }
    default:
        return std::nullopt;
    }
    return b;
}

std::string format(const Binding& b) {
    std::string s = to_text(b.name);
    switch (b.type) {
    case INTEGER_TYPE:
        s += " INTEGER " + std::to_string(b.integer);
        break;
    case OCTET_PRIM_TYPE: {
        static const char digits[] = "0123456789abcdef";
        s += " OCTETS ";
        for (uint8_t c : b.octets) {
            s += digits[c >> 4];
            s += digits[c & 15];
        }
        break;
    }
    case OBJECT_ID_TYPE:
        s += " OID " + to_text(b.oid);
        break;
    default:
        s += " UNKNOWN";
        break;
    }
    return s;
}

}  // namespace mib_router
