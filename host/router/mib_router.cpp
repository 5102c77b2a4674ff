#include "mib_router.h"

#include <algorithm>
#include <charconv>

#include "snmp_agent.h"

static_assert(mib_router::kInteger == INTEGER_TYPE && mib_router::kOctets == OCTET_PRIM_TYPE &&
              mib_router::kObjectId == OBJECT_ID_TYPE && mib_router::kCounter32 == COUNTER_TYPE &&
              mib_router::kGauge32 == GAUGE_TYPE && mib_router::kTimeTicks == TIME_TICKS_TYPE);

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

// Copies a module binding into *out, reusing the room *out already has;
// false when its type or value is unusable (*out is then unspecified).
bool convert_into(const VarBind* vb, Binding* out) {
    if (!vb || !vb->name || vb->name->length <= 0 || !vb->name->oid_ptr) return false;
    out->name.assign(vb->name->oid_ptr, vb->name->oid_ptr + vb->name->length);
    out->type = vb->type;
    out->integer = 0;
    out->unsigned_value = 0;
    out->octets.clear();
    out->oid.clear();
    switch (vb->type) {
    case INTEGER_TYPE:
        out->integer = vb->value.slval;
        return true;
    case COUNTER_TYPE:
    case GAUGE_TYPE:
    case TIME_TICKS_TYPE:
        out->unsigned_value = vb->value.ulval;
        return true;
    case OCTET_PRIM_TYPE: {
        const OctetString* os = vb->value.os;
        if (!os || os->length < 0 || (os->length > 0 && !os->octet_ptr)) return false;
        out->octets.assign(os->octet_ptr, os->octet_ptr + os->length);
        return true;
    }
    case OBJECT_ID_TYPE: {
        const OID* id = vb->value.oid;
        if (!id || id->length < 0 || (id->length > 0 && !id->oid_ptr)) return false;
        out->oid.assign(id->oid_ptr, id->oid_ptr + id->length);
        return true;
    }
    default:
        return false;
    }
}

// Calls the method routine and takes its answer over into *answer; the
// VarBind is always freed here.  name holds at most kMaxOidLen identifiers.
bool ask(ObjectInfo* object, const uint32_t* name, size_t len, int search_type, void* context,
         int serial, Binding* answer) {
    // The routine takes a mutable OID; give it a private copy.
    uint32_t copy[kMaxOidLen];
    std::copy(name, name + len, copy);
    OID incoming{static_cast<int32_t>(len), copy};
    VarBind* vb = object->get(&incoming, object, search_type, context, serial);
    bool ok = convert_into(vb, answer);
    FreeVarBind(vb);
    return ok;
}

// Answers are built here and swapped into the caller's binding once they
// count, so a walk reuses the same few buffers for every binding.
Binding& scratch_binding() {
    thread_local Binding scratch;
    return scratch;
}

}  // namespace

Router::Router(const std::vector<ObjectList>& lists) {
    for (const ObjectList& l : lists) {
        for (int i = 0; l.objects && i < l.count; ++i) {
            ObjectInfo* o = &l.objects[i];
            if (o->oid.length <= 0 || !o->oid.oid_ptr || !o->get) continue;
            objects_.push_back(o);
        }
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
    Binding& b = scratch_binding();
    // An answer for another instance than the one asked is no answer.
    if (!ask(holder, name.data(), name.size(), EXACT, context, ++serial_, &b) || b.name != name)
        return GetResult::NoSuchInstance;
    std::swap(*out, b);
    return GetResult::Found;
}

bool Router::next(const Oid& name, Binding* out, void* context, const Oid* within) const {
    if (name.size() > kMaxOidLen) return false;
    // Objects wholly before name answer nothing: start at the last object not
    // above name (it may hold name).  In a walk that is the object that
    // answered last; otherwise it is found by bisection.
    auto not_above = [&](const ObjectInfo* o) {
        return compare(o->oid.oid_ptr, oid_len(o->oid), name.data(), name.size()) <= 0;
    };
    size_t hint = last_answer_.load(std::memory_order_relaxed);
    auto first = objects_.end();
    if (hint < objects_.size() && not_above(objects_[hint]) &&
        (hint + 1 == objects_.size() || !not_above(objects_[hint + 1])))
        first = objects_.begin() + static_cast<std::ptrdiff_t>(hint);
    else if ((first = std::partition_point(objects_.begin(), objects_.end(), not_above)) !=
             objects_.begin())
        --first;
    for (auto it = first; it != objects_.end(); ++it) {
        ObjectInfo* o = *it;
        const uint32_t* obj = o->oid.oid_ptr;
        size_t olen = oid_len(o->oid);
        if (within && compare(obj, olen, within->data(), within->size()) > 0 &&
            !is_prefix(within->data(), within->size(), obj, olen))
            return false;  // past the subtree
        const uint32_t* incoming;
        size_t incoming_len;
        if (is_prefix(obj, olen, name.data(), name.size())) {
            incoming = name.data();  // inside this object: the routine continues from it
            incoming_len = name.size();
        } else if (olen <= kMaxOidLen && compare(name.data(), name.size(), obj, olen) < 0) {
            // Before it: its first instance (an object whose identifier is
            // longer than any name can be holds no instance to name).
            incoming = obj;
            incoming_len = olen;
        } else {
            continue;  // wholly before the requested name
        }
        Binding& b = scratch_binding();
        // Only an answer of this object past the requested name counts; anything
        // else (a time mark that went backwards, say) would make walks loop.
        if (!ask(o, incoming, incoming_len, NEXT, context, ++serial_, &b) ||
            !is_prefix(obj, olen, b.name.data(), b.name.size()) || compare(b.name, name) <= 0)
            continue;
        last_answer_.store(static_cast<size_t>(it - objects_.begin()), std::memory_order_relaxed);
        std::swap(*out, b);
        return true;
    }
    return false;
}

size_t Router::walk(const Oid& root, const std::function<bool(const Binding&)>& visit,
                    void* context) const {
    size_t count = 0;
    Oid cursor = root;
    Binding b;
    while (next(cursor, &b, context, &root) && is_prefix(root, b.name)) {
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
    Binding b;
    if (!convert_into(vb, &b)) return std::nullopt;
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
    case COUNTER_TYPE:
        s += " COUNTER32 " + std::to_string(b.unsigned_value);
        break;
    case GAUGE_TYPE:
        s += " GAUGE32 " + std::to_string(b.unsigned_value);
        break;
    case TIME_TICKS_TYPE:
        s += " TIMETICKS " + std::to_string(b.unsigned_value);
        break;
    default:
        s += " UNKNOWN";
        break;
    }
    return s;
}

}  // namespace mib_router
