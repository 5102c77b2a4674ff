// Instance decoders.  A NEXT search decodes the indices from the last to the
// first with one shared carry that starts at 1 ("strictly after the incoming
// instance").  Each decoder turns its part of the incoming identifier into the
// least index value whose instance can still follow; the carry tells the index
// before it whether it has to move up by one.  The rules that keep a walk exact:
//  - a missing sub-identifier: the incoming identifier is a proper prefix of
//    every instance that starts like it, so the least value serves and the carry
//    is absorbed;
//  - an out-of-range sub-identifier: every instance with that prefix precedes
//    the incoming one, so the index takes its least value and passes the carry on;
//  - whenever the carry leaves an index, that index holds its least value;
//  - once an index has moved (it is not what the incoming identifier holds at
//    its position), every later index takes its least value (InstToIndexes).
#include <cstring>

#include "platform_fault.h"
#include "snmp_agent.h"
#include "snmp_values_internal.h"

namespace {

bool present(const OID* oid, int64_t pos) {
    return oid && oid->oid_ptr && pos >= 0 && pos < oid->length;
}

uint32_t sid_at(const OID* oid, int64_t pos) { return oid->oid_ptr[pos]; }

// Adds one to octets read as a big-endian number; true when it wrapped to zero.
bool increment(unsigned char* octets, int32_t n) {
    for (int32_t i = n - 1; i >= 0; --i) {
        if (octets[i] != 0xFF) {
            ++octets[i];
            return false;
        }
        octets[i] = 0;
    }
    return true;
}

// Reads n octets starting at pos for a NEXT search, before any increment:
// a missing tail is zero and absorbs the carry; from an octet above 255 on,
// the rest is 0xFF and the carry is set, so the increment moves past them.
void read_octets_next(const OID* incoming, int64_t pos, int32_t n, unsigned char* out,
                      int* carry) {
    for (int32_t j = 0; j < n; ++j) {
        if (!present(incoming, pos + j)) {
            memset(out + j, 0, static_cast<size_t>(n - j));
            *carry = 0;
            return;
        }
        uint32_t sid = sid_at(incoming, pos + j);
        if (sid > 0xFF) {
            memset(out + j, 0xFF, static_cast<size_t>(n - j));
            *carry = 1;
            return;
        }
        out[j] = static_cast<unsigned char>(sid);
    }
}

// EXACT: all n octets must be present and fit in a byte.
bool read_octets_exact(const OID* incoming, int64_t pos, int32_t n, unsigned char* out) {
    if (n > 0 && !present(incoming, pos + n - 1)) return false;
    for (int32_t j = 0; j < n; ++j) {
        uint32_t sid = sid_at(incoming, pos + j);
        if (sid > 0xFF) return false;
        out[j] = static_cast<unsigned char>(sid);
    }
    return true;
}

// The decoded string.  Its failures are injected through the decoder's own
// point, so that counts of MakeOctetString stay the module's own calls.
OctetString* make_index_string(const unsigned char* octets, int32_t n) {
    return snmp_internal::new_octet_string(octets, n);
}

// Indices of one table InstToIndexes takes.
constexpr int kMaxIndexes = 16;

// Sub-identifiers index ix occupies at pos.
int64_t index_width(const OID* incoming, int64_t pos, const InstIndex& ix) {
    switch (ix.kind) {
        case INDEX_VAR_OCTETS:
            return pos > INT32_MAX ? 0 : GetVariableIndexLength(incoming, static_cast<int>(pos));
        case INDEX_FIXED_OCTETS: return ix.length;
        default: return 1;
    }
}

OctetString** string_out(const InstIndex& ix) { return static_cast<OctetString**>(ix.value); }

bool is_string(const InstIndex& ix) {
    return ix.kind == INDEX_VAR_OCTETS || ix.kind == INDEX_FIXED_OCTETS;
}

bool decode_index(const OID* incoming, int64_t pos, const InstIndex& ix, int searchType,
                  int* carry) {
    int p = pos > INT32_MAX ? INT32_MAX : static_cast<int>(pos);
    switch (ix.kind) {
        case INDEX_INT: {
            auto* v = static_cast<int32_t*>(ix.value);
            if (InstToInt(incoming, p, v, searchType, carry) < 0) return false;
            if (searchType != EXACT && *v < static_cast<int64_t>(ix.least))
                *v = static_cast<int32_t>(ix.least);
            return true;
        }
        case INDEX_UINT: {
            auto* v = static_cast<uint32_t*>(ix.value);
            if (InstToUInt(incoming, p, v, searchType, carry) < 0) return false;
            if (searchType != EXACT && *v < ix.least) *v = ix.least;
            return true;
        }
        case INDEX_VAR_OCTETS:
            return InstToVariableOctetString(incoming, p, string_out(ix), searchType, carry) >= 0;
        case INDEX_FIXED_OCTETS:
            return InstToFixedOctetString(incoming, p, string_out(ix), searchType, carry,
                                          ix.length) >= 0;
    }
    return false;
}

// Whether the decoded value of ix is exactly what incoming holds at pos.
bool holds(const OID* incoming, int64_t pos, const InstIndex& ix) {
    auto sid_is = [&](int64_t at, uint32_t want) {
        return present(incoming, at) && sid_at(incoming, at) == want;
    };
    switch (ix.kind) {
        case INDEX_INT: return sid_is(pos, static_cast<uint32_t>(*static_cast<int32_t*>(ix.value)));
        case INDEX_UINT: return sid_is(pos, *static_cast<uint32_t*>(ix.value));
        default: break;
    }
    const OctetString* os = *string_out(ix);
    if (ix.kind == INDEX_VAR_OCTETS && !sid_is(pos++, static_cast<uint32_t>(os->length)))
        return false;
    for (int32_t j = 0; j < os->length; ++j)
        if (!sid_is(pos + j, os->octet_ptr[j])) return false;
    return true;
}

bool set_least(const InstIndex& ix) {
    switch (ix.kind) {
        case INDEX_INT: *static_cast<int32_t*>(ix.value) = static_cast<int32_t>(ix.least); return true;
        case INDEX_UINT: *static_cast<uint32_t*>(ix.value) = ix.least; return true;
        default: break;
    }
    unsigned char zeros[MAX_OCTET_INDEX_LEN + 1] = {};
    FreeOctetString(*string_out(ix));
    *string_out(ix) = make_index_string(zeros, ix.kind == INDEX_FIXED_OCTETS ? ix.length : 0);
    return *string_out(ix) != nullptr;
}

}  // namespace

extern "C" {

int InstToInt(const OID* incoming, int pos, int32_t* value, int searchType, int* carry) {
    if (PLATFORM_FAULT("InstToInt")) return -1;
    if (!value || pos < 0) return -1;
    if (searchType == EXACT) {
        if (!present(incoming, pos)) return -1;
        uint32_t sid = sid_at(incoming, pos);
        if (sid > INT32_MAX) return -1;
        *value = static_cast<int32_t>(sid);
        return 0;
    }
    int local_carry = 1;
    int* c = carry ? carry : &local_carry;
    if (!present(incoming, pos)) {
        *value = 0;
        *c = 0;
        return 0;
    }
    uint32_t sid = sid_at(incoming, pos);
    if (sid > INT32_MAX) {
        // Saturated at the top and moved past it: least value, carry on.
        *value = 0;
        *c = 1;
        return 0;
    }
    if (!*c) {
        *value = static_cast<int32_t>(sid);
    } else if (sid == INT32_MAX) {
        *value = 0;  // carry stays set
    } else {
        *value = static_cast<int32_t>(sid) + 1;
        *c = 0;
    }
    return 0;
}

int InstToUInt(const OID* incoming, int pos, uint32_t* value, int searchType, int* carry) {
    if (PLATFORM_FAULT("InstToUInt")) return -1;
    if (!value || pos < 0) return -1;
    if (searchType == EXACT) {
        if (!present(incoming, pos)) return -1;
        *value = sid_at(incoming, pos);
        return 0;
    }
    int local_carry = 1;
    int* c = carry ? carry : &local_carry;
    if (!present(incoming, pos)) {
        *value = 0;
        *c = 0;
        return 0;
    }
    uint32_t sid = sid_at(incoming, pos);
    if (!*c) {
        *value = sid;
    } else if (sid == UINT32_MAX) {
        *value = 0;  // carry stays set
    } else {
        *value = sid + 1;
        *c = 0;
    }
    return 0;
}

int GetVariableIndexLength(const OID* incoming, int pos) {
    if (!present(incoming, pos)) return 0;
    uint32_t sid = sid_at(incoming, pos);
    // Anything longer than the decoders accept counts the same; no overflow.
    if (sid > MAX_OCTET_INDEX_LEN + 1) return MAX_OCTET_INDEX_LEN + 2;
    return static_cast<int>(sid) + 1;
}

int InstToVariableOctetString(const OID* incoming, int pos, OctetString** os, int searchType,
                              int* carry) {
    if (os) *os = nullptr;
    if (PLATFORM_FAULT("InstToVariableOctetString")) return -1;
    if (!os || pos < 0) return -1;
    unsigned char octets[MAX_OCTET_INDEX_LEN + 1];

    if (searchType == EXACT) {
        if (!present(incoming, pos)) return -1;
        uint32_t len = sid_at(incoming, pos);
        if (len > MAX_OCTET_INDEX_LEN) return -1;
        int32_t n = static_cast<int32_t>(len);
        if (!read_octets_exact(incoming, int64_t{pos} + 1, n, octets)) return -1;
        *os = make_index_string(octets, n);
        return *os ? 0 : -1;
    }

    int local_carry = 1;
    int* c = carry ? carry : &local_carry;
    int32_t n = 0;
    if (!present(incoming, pos)) {
        *c = 0;  // empty string, the least of all
    } else if (sid_at(incoming, pos) > MAX_OCTET_INDEX_LEN) {
        // Longer than any instance: every string of this prefix precedes it.
        *c = 1;
    } else {
        n = static_cast<int32_t>(sid_at(incoming, pos));
        read_octets_next(incoming, int64_t{pos} + 1, n, octets, c);
        if (*c && !increment(octets, n)) {
            *c = 0;
        } else if (*c) {
            // Past the greatest string of this length: the least one a longer.
            if (n < MAX_OCTET_INDEX_LEN) {
                ++n;
                memset(octets, 0, static_cast<size_t>(n));
                *c = 0;
            } else {
                n = 0;  // carry stays set; the least string is the empty one
            }
        }
    }
    *os = make_index_string(octets, n);
    return *os ? 0 : -1;
}

int InstToFixedOctetString(const OID* incoming, int pos, OctetString** os, int searchType,
                           int* carry, int length) {
    if (os) *os = nullptr;
    if (PLATFORM_FAULT("InstToFixedOctetString")) return -1;
    if (!os || pos < 0 || length < 0 || length > MAX_OCTET_INDEX_LEN) return -1;
    unsigned char octets[MAX_OCTET_INDEX_LEN + 1];

    if (searchType == EXACT) {
        if (!read_octets_exact(incoming, pos, length, octets)) return -1;
    } else {
        int local_carry = 1;
        int* c = carry ? carry : &local_carry;
        read_octets_next(incoming, pos, length, octets, c);
        if (*c && !increment(octets, length)) *c = 0;  // a wrap leaves zeros, carry set
    }
    *os = make_index_string(octets, length);
    return *os ? 0 : -1;
}

int InstToIndexes(const OID* incoming, int pos, InstIndex* indexes, int count, int searchType) {
    if (!indexes || count < 0 || count > kMaxIndexes) return -1;
    for (int i = 0; i < count; ++i)
        if (is_string(indexes[i]) && indexes[i].value) *string_out(indexes[i]) = nullptr;
    if (pos < 0) return -1;
    int64_t at[kMaxIndexes];
    int64_t p = pos;
    for (int i = 0; i < count; ++i) {
        if (!indexes[i].value) return -1;
        at[i] = p;
        p += index_width(incoming, p, indexes[i]);
    }
    if (searchType == EXACT && (!incoming || p != incoming->length)) return -1;

    // Every decoder runs, also after one failed.
    int carry = searchType == EXACT ? 0 : 1;
    bool ok = true;
    for (int i = count; i-- > 0;) ok = decode_index(incoming, at[i], indexes[i], searchType, &carry) && ok;
    if (ok && carry == 0 && searchType != EXACT) {
        int i = 0;
        while (i < count && holds(incoming, at[i], indexes[i])) ++i;
        for (++i; i < count && ok; ++i) ok = set_least(indexes[i]);
    }
    if (ok && carry == 0) return 0;
    for (int i = 0; i < count; ++i) {
        if (!is_string(indexes[i])) continue;
        FreeOctetString(*string_out(indexes[i]));
        *string_out(indexes[i]) = nullptr;
    }
    return -1;
}

}  // extern "C"
