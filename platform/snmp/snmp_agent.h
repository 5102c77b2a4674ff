// SNMP agent library: values, object records, variable bindings, instance
// decoders and the registration calls a MIB module makes.
#pragma once
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Search types, as the agent passes them to method routines.
#define EXACT 160  // GET: the instance given
#define NEXT 161   // GET-NEXT: the least instance after the one given

// ASN.1 tags of object values.
#define INTEGER_TYPE 2
#define OCTET_PRIM_TYPE 4
#define OBJECT_ID_TYPE 6
#define COUNTER_TYPE 0x41     // Counter32
#define GAUGE_TYPE 0x42       // Gauge32 (also ZeroBasedCounter32)
#define TIME_TICKS_TYPE 0x43  // TimeTicks (also TimeStamp)

#define READ_ONLY_ACCESS 0x20

// SNMPv2 error-status values.
#define NO_ERROR 0
#define GEN_ERROR 5
#define NO_ACCESS_ERROR 6
#define NO_CREATION_ERROR 11
#define RESOURCE_UNAVAILABLE_ERROR 13
#define NOT_WRITABLE_ERROR 17

// Longest octet-string index the decoders accept (sub-identifiers of octets).
#define MAX_OCTET_INDEX_LEN 128

typedef struct OctetString {
    unsigned char* octet_ptr;
    int32_t length;
} OctetString;

typedef struct OID {
    int32_t length;
    uint32_t* oid_ptr;
} OID;

struct ObjectInfo;
struct VarBind;
struct ObjectSyntax;
struct doList;

typedef struct VarBind* (*GetMethod)(OID* incoming, struct ObjectInfo* object, int searchType,
                                     void* contextInfo, int serialNum);
typedef int (*TestMethod)(OID* incoming, struct ObjectInfo* object, struct ObjectSyntax* value,
                          struct doList* doHead, struct doList* doCur, void* contextInfo);

// One served object.  The agent reads the module's exported array of these.
typedef struct ObjectInfo {
    OID oid;               // the object's identifier, without instance
    uint8_t value_type;    // INTEGER_TYPE, OCTET_PRIM_TYPE, OBJECT_ID_TYPE or an unsigned type
    uint8_t access;        // READ_ONLY_ACCESS
    uint8_t nominator;     // column - 1 (scalar: last sub-identifier - 1)
    uint8_t attribute;
    GetMethod get;
    TestMethod test;
    void* reserved;
} ObjectInfo;

// A new value in a SET request.
typedef struct ObjectSyntax {
    int32_t type;
    union {
        int32_t slval;
        uint32_t ulval;
        OctetString* os;
        OID* oid;
    } u;
} ObjectSyntax;

// One pending set operation of a SET request; the agent keeps them in a list.
typedef struct doList {
    int (*set_routine)(struct doList* doHead, struct doList* doCur, void* contextInfo);
    int (*cleanup_routine)(struct doList* doCur);
    int (*undo_routine)(struct doList* doHead, struct doList* doCur, void* contextInfo);
    int32_t state;
    void* data;
    void* undo_data;
    struct doList* next;
} doList_t;

// An answer: the full name (object identifier + instance) and the value.
typedef struct VarBind {
    OID* name;
    int32_t type;  // ASN.1 tag of the value
    union {
        int32_t slval;
        uint32_t ulval;  // COUNTER_TYPE, GAUGE_TYPE, TIME_TICKS_TYPE
        OctetString* os;
        OID* oid;
    } value;
    struct VarBind* next;
} VarBind;

// Name/identifier pairs handed over with snmp_load_oid; ends with two nulls.
typedef struct snmp_oid_name {
    const char* name;
    const char* dotted;
} snmp_oid_name;

// Debug block handed over with snmp_register_mib_debug.
typedef struct snmp_mib_debug_flags {
    uint32_t words[8];
} snmp_mib_debug_flags;

// Values.  Every Make/Clone returns a new value or null (out of memory).
OctetString* MakeOctetString(const unsigned char* bytes, int32_t length);
OctetString* MakeOctetStringFromText(const char* text);  // null text: empty string
OctetString* CloneOctetString(const OctetString* os);
void FreeOctetString(OctetString* os);  // accepts null
OID* MakeOID(const uint32_t* sids, int32_t length);     // null sids: zeros
OID* CloneOID(const OID* oid);
void FreeOID(OID* oid);                                  // accepts null
// The instance "0" of a scalar; static, never freed.
OID* snmp_zeroOID(void);

// Builds the binding object+instance = value.  value points at an int32 for
// INTEGER_TYPE objects and at a uint32 for COUNTER_TYPE, GAUGE_TYPE and
// TIME_TICKS_TYPE ones (read during the call); for OCTET_PRIM_TYPE and
// OBJECT_ID_TYPE it is a new OctetString/OID whose ownership passes to the
// binding (freed here when no binding can be made).  The instance is copied.
// Null for a null value or out of memory.
VarBind* MakeVarBind(const ObjectInfo* object, const OID* instance, void* value);
// Non-zero for COUNTER_TYPE, GAUGE_TYPE and TIME_TICKS_TYPE.
static inline int snmp_is_unsigned_type(int32_t type) {
    return type == COUNTER_TYPE || type == GAUGE_TYPE || type == TIME_TICKS_TYPE;
}
void FreeVarBind(VarBind* vb);  // the whole chain along next; accepts null

// Instance decoders.  Each reads the index at position pos of incoming.
// EXACT: the value as given; fails (negative) when missing or out of range.
// NEXT: with *carry set, the value is raised to the least one after the given
// (wrapping to the least value and keeping the carry when it cannot); a missing
// sub-identifier gives the least value and absorbs the carry; an out-of-range
// one gives the least value with the carry set.
//
// In detail.  Any search type other than EXACT decodes as NEXT.  A NEXT search
// decodes the indices from the last to the first, sharing one carry that starts
// at 1; afterwards the indices are the least instance strictly after incoming,
// or the carry is still set when no instance can follow.  Least values: 0, the
// empty string, zero octets.  Integers use sub-identifiers 0..INT32_MAX;
// octets 0..255.  Strings order as SNMP instances do: a length-prefixed string
// by its length first, then its octets as a big-endian number.
//  - int/uint: INT32_MAX (UINT32_MAX) + carry wraps to 0 with the carry kept.
//  - strings: from an octet above 255 on, the octets read as 0xFF and the carry
//    is set; a missing tail reads as zeros and absorbs the carry; then the carry
//    adds one.  A fixed-length string that wraps is zeros with the carry kept;
//    a length-prefixed one becomes one octet longer, all zeros (the empty string
//    becomes {0}), or, past MAX_OCTET_INDEX_LEN, empty with the carry kept.  A
//    length above MAX_OCTET_INDEX_LEN gives the empty string with the carry set.
// EXACT fails on a missing sub-identifier, an int above INT32_MAX, an octet
// above 255, a length above MAX_OCTET_INDEX_LEN or one that runs past the end.
// Results: 0, or -1 (also for a null out-value or a negative pos).  A string
// decoder always sets *os (null on failure).  Each decoder sees one index only:
// a table with several indices decodes them with InstToIndexes, which also puts
// the indices after a moved one back to their least values.
int InstToInt(const OID* incoming, int pos, int32_t* value, int searchType, int* carry);
int InstToUInt(const OID* incoming, int pos, uint32_t* value, int searchType, int* carry);
// Length-prefixed octet string; *os is a new string the caller frees.
int InstToVariableOctetString(const OID* incoming, int pos, OctetString** os, int searchType,
                              int* carry);
// Sub-identifiers the length-prefixed string at pos occupies (its length + 1),
// 0 when pos is past the end; lengths above MAX_OCTET_INDEX_LEN all count as
// MAX_OCTET_INDEX_LEN + 2.
int GetVariableIndexLength(const OID* incoming, int pos);
// Fixed-length octet string, one sub-identifier per octet; length 0..
// MAX_OCTET_INDEX_LEN.
int InstToFixedOctetString(const OID* incoming, int pos, OctetString** os, int searchType,
                           int* carry, int length);

// One index of a table's instance, for InstToIndexes.
#define INDEX_INT 1           // InstToInt; value is an int32_t*
#define INDEX_UINT 2          // InstToUInt; value is a uint32_t*
#define INDEX_VAR_OCTETS 3    // InstToVariableOctetString; value is an OctetString**
#define INDEX_FIXED_OCTETS 4  // InstToFixedOctetString of length octets; value as above
typedef struct InstIndex {
    int kind;
    int length;      // INDEX_FIXED_OCTETS: octets
    uint32_t least;  // INDEX_INT, INDEX_UINT: least value of the index's range
    void* value;     // out
} InstIndex;

// Decodes a table's whole index list, indexes[0] at position pos of incoming.
// EXACT: the instance is exactly these indices, each as InstTo* decodes it
// (least is not applied).  NEXT: the least tuple whose instance follows
// incoming, each integer index at least `least`: the indices are decoded from
// the last to the first with one carry, each integer raised to its least;
// then, from the first index on, the first index whose value is not what
// incoming holds at its position (it moved up, or restarted because of what
// was there) puts every later index at its least value.  Returns 0, or -1
// when a decoder fails or no instance follows; on -1 every string is null.
// String values are new strings the caller frees.
int InstToIndexes(const OID* incoming, int pos, InstIndex* indexes, int count, int searchType);

// Test routine of read-only objects: refuses every SET (NOT_WRITABLE_ERROR).
int readOnly_test(OID* incoming, ObjectInfo* object, ObjectSyntax* value, doList_t* doHead,
                  doList_t* doCur, void* contextInfo);

// Registration calls of a module's start-up.  Each may fail by injection:
// the first two then return the status and store nothing, snmp_import_evmh
// returns null.
int snmp_register_mib_debug(void* agent_context, snmp_mib_debug_flags* flags);
int snmp_load_oid(void* agent_context, const snmp_oid_name* table);
void* snmp_import_evmh(void);

// Agent side: what the module has handed over (null/none before).
const snmp_oid_name* snmp_loaded_oid_table(void);
const snmp_mib_debug_flags* snmp_registered_mib_debug(void);
void snmp_set_evmh(void* evm);  // the handle snmp_import_evmh returns

// Dotted text of an OID into buf (always terminated); returns buf.
char* snmp_oid_to_text(const OID* oid, char* buf, size_t size);
// Compares two OIDs in SNMP order: negative, zero or positive.
int CmpOID(const OID* a, const OID* b);

#ifdef __cplusplus
}
#endif
