// The extension library's served objects and its start and stop.
#include "lldpmib_ext_internal.h"
#include "lldpmib_ext_rows.h"
#include "lldpmib_frame.h"
#include "platform_sys.h"

namespace {

// clang-format off
const uint32_t kTxInterval[] = {LLDP_MIB_PREFIX, 1, 1, 1};
const uint32_t kTxHoldMultiplier[] = {LLDP_MIB_PREFIX, 1, 1, 2};
const uint32_t kReinitDelay[] = {LLDP_MIB_PREFIX, 1, 1, 3};
const uint32_t kTxDelay[] = {LLDP_MIB_PREFIX, 1, 1, 4};
const uint32_t kNotificationInterval[] = {LLDP_MIB_PREFIX, 1, 1, 5};
const uint32_t kPortConfigAdminStatus[] = {LLDP_MIB_PREFIX, 1, 1, 6, 1, 2};
const uint32_t kPortConfigNotificationEnable[] = {LLDP_MIB_PREFIX, 1, 1, 6, 1, 3};
const uint32_t kPortConfigTLVsTxEnable[] = {LLDP_MIB_PREFIX, 1, 1, 6, 1, 4};
const uint32_t kConfigManAddrPortsTxEnable[] = {LLDP_MIB_PREFIX, 1, 1, 7, 1, 1};
const uint32_t kRemTablesLastChangeTime[] = {LLDP_MIB_PREFIX, 1, 2, 1};
const uint32_t kRemTablesInserts[] = {LLDP_MIB_PREFIX, 1, 2, 2};
const uint32_t kRemTablesDeletes[] = {LLDP_MIB_PREFIX, 1, 2, 3};
const uint32_t kRemTablesDrops[] = {LLDP_MIB_PREFIX, 1, 2, 4};
const uint32_t kRemTablesAgeouts[] = {LLDP_MIB_PREFIX, 1, 2, 5};
const uint32_t kTxPortFramesTotal[] = {LLDP_MIB_PREFIX, 1, 2, 6, 1, 2};
const uint32_t kRxPortFramesDiscardedTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 2};
const uint32_t kRxPortFramesErrors[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 3};
const uint32_t kRxPortFramesTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 4};
const uint32_t kRxPortTLVsDiscardedTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 5};
const uint32_t kRxPortTLVsUnrecognizedTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 6};
const uint32_t kRxPortAgeoutsTotal[] = {LLDP_MIB_PREFIX, 1, 2, 7, 1, 7};
// LLDP-EXT-DOT1-MIB and LLDP-EXT-DOT3-MIB objects: lldpXdot1Objects and
// lldpXdot3Objects, then group (config 1, local 2, remote 3), table, entry 1, column.
#define DOT1(name, ...) const uint32_t name[] = {LLDP_MIB_PREFIX, 1, 5, 32962, 1, __VA_ARGS__}
#define DOT3(name, ...) const uint32_t name[] = {LLDP_MIB_PREFIX, 1, 5, 4623, 1, __VA_ARGS__}
DOT1(kXdot1ConfigPortVlanTxEnable, 1, 1, 1, 1);
DOT1(kXdot1ConfigVlanNameTxEnable, 1, 2, 1, 1);
DOT1(kXdot1ConfigProtoVlanTxEnable, 1, 3, 1, 1);
DOT1(kXdot1ConfigProtocolTxEnable, 1, 4, 1, 1);
DOT1(kXdot1LocPortVlanId, 2, 1, 1, 1);
DOT1(kXdot1LocProtoVlanSupported, 2, 2, 1, 2);
DOT1(kXdot1LocProtoVlanEnabled, 2, 2, 1, 3);
DOT1(kXdot1LocVlanName, 2, 3, 1, 2);
DOT1(kXdot1LocProtocolId, 2, 4, 1, 2);
DOT1(kXdot1RemPortVlanId, 3, 1, 1, 1);
DOT1(kXdot1RemProtoVlanSupported, 3, 2, 1, 2);
DOT1(kXdot1RemProtoVlanEnabled, 3, 2, 1, 3);
DOT1(kXdot1RemVlanName, 3, 3, 1, 2);
DOT1(kXdot1RemProtocolId, 3, 4, 1, 2);
DOT3(kXdot3PortConfigTLVsTxEnable, 1, 1, 1, 1);
DOT3(kXdot3LocPortAutoNegSupported, 2, 1, 1, 1);
DOT3(kXdot3LocPortAutoNegEnabled, 2, 1, 1, 2);
DOT3(kXdot3LocPortAutoNegAdvertisedCap, 2, 1, 1, 3);
DOT3(kXdot3LocPortOperMauType, 2, 1, 1, 4);
DOT3(kXdot3LocPowerPortClass, 2, 2, 1, 1);
DOT3(kXdot3LocPowerMDISupported, 2, 2, 1, 2);
DOT3(kXdot3LocPowerMDIEnabled, 2, 2, 1, 3);
DOT3(kXdot3LocPowerPairControlable, 2, 2, 1, 4);
DOT3(kXdot3LocPowerPairs, 2, 2, 1, 5);
DOT3(kXdot3LocPowerClass, 2, 2, 1, 6);
DOT3(kXdot3LocLinkAggStatus, 2, 3, 1, 1);
DOT3(kXdot3LocLinkAggPortId, 2, 3, 1, 2);
DOT3(kXdot3LocMaxFrameSize, 2, 4, 1, 1);
DOT3(kXdot3RemPortAutoNegSupported, 3, 1, 1, 1);
DOT3(kXdot3RemPortAutoNegEnabled, 3, 1, 1, 2);
DOT3(kXdot3RemPortAutoNegAdvertisedCap, 3, 1, 1, 3);
DOT3(kXdot3RemPortOperMauType, 3, 1, 1, 4);
DOT3(kXdot3RemPowerPortClass, 3, 2, 1, 1);
DOT3(kXdot3RemPowerMDISupported, 3, 2, 1, 2);
DOT3(kXdot3RemPowerMDIEnabled, 3, 2, 1, 3);
DOT3(kXdot3RemPowerPairControlable, 3, 2, 1, 4);
DOT3(kXdot3RemPowerPairs, 3, 2, 1, 5);
DOT3(kXdot3RemPowerClass, 3, 2, 1, 6);
DOT3(kXdot3RemLinkAggStatus, 3, 3, 1, 1);
DOT3(kXdot3RemLinkAggPortId, 3, 3, 1, 2);
DOT3(kXdot3RemMaxFrameSize, 3, 4, 1, 1);
#undef DOT1
#undef DOT3
// clang-format on

// The method routine of table T of the 802.1/802.3 set.
template <int T>
constexpr GetMethod org_table_get = lldpmib_rows::get<lldpmib_rows::org_tables, T>;

}  // namespace

// The nominator is the column (or scalar number) less one, as in the module.
extern "C" {

// clang-format off
// Every SYNTAX as LLDP-MIB gives it: Integer32 and the enumerations as
// INTEGER, TimeStamp as TimeTicks, ZeroBasedCounter32 as Gauge32.
ObjectInfo lldpmib_ext_OidList[] = {
    LLDPMIB_READ_ONLY_OBJECT(kTxInterval, INTEGER_TYPE, 0, lldpExtConfiguration_get),
    LLDPMIB_READ_ONLY_OBJECT(kTxHoldMultiplier, INTEGER_TYPE, 1, lldpExtConfiguration_get),
    LLDPMIB_READ_ONLY_OBJECT(kReinitDelay, INTEGER_TYPE, 2, lldpExtConfiguration_get),
    LLDPMIB_READ_ONLY_OBJECT(kTxDelay, INTEGER_TYPE, 3, lldpExtConfiguration_get),
    LLDPMIB_READ_ONLY_OBJECT(kNotificationInterval, INTEGER_TYPE, 4, lldpExtConfiguration_get),
    LLDPMIB_READ_ONLY_OBJECT(kPortConfigAdminStatus, INTEGER_TYPE, 1, lldpExtPortConfigEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kPortConfigNotificationEnable, INTEGER_TYPE, 2, lldpExtPortConfigEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kPortConfigTLVsTxEnable, OCTET_PRIM_TYPE, 3, lldpExtPortConfigEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kConfigManAddrPortsTxEnable, OCTET_PRIM_TYPE, 0, lldpExtConfigManAddrEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kRemTablesLastChangeTime, TIME_TICKS_TYPE, 0, lldpExtStatistics_get),
    LLDPMIB_READ_ONLY_OBJECT(kRemTablesInserts, GAUGE_TYPE, 1, lldpExtStatistics_get),
    LLDPMIB_READ_ONLY_OBJECT(kRemTablesDeletes, GAUGE_TYPE, 2, lldpExtStatistics_get),
    LLDPMIB_READ_ONLY_OBJECT(kRemTablesDrops, GAUGE_TYPE, 3, lldpExtStatistics_get),
    LLDPMIB_READ_ONLY_OBJECT(kRemTablesAgeouts, GAUGE_TYPE, 4, lldpExtStatistics_get),
    LLDPMIB_READ_ONLY_OBJECT(kTxPortFramesTotal, COUNTER_TYPE, 1, lldpExtStatsTxPortEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kRxPortFramesDiscardedTotal, COUNTER_TYPE, 1, lldpExtStatsRxPortEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kRxPortFramesErrors, COUNTER_TYPE, 2, lldpExtStatsRxPortEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kRxPortFramesTotal, COUNTER_TYPE, 3, lldpExtStatsRxPortEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kRxPortTLVsDiscardedTotal, COUNTER_TYPE, 4, lldpExtStatsRxPortEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kRxPortTLVsUnrecognizedTotal, COUNTER_TYPE, 5, lldpExtStatsRxPortEntry_get),
    LLDPMIB_READ_ONLY_OBJECT(kRxPortAgeoutsTotal, GAUGE_TYPE, 6, lldpExtStatsRxPortEntry_get),
    // LLDP-EXT-DOT3-MIB (lldpExtensions 4623) before LLDP-EXT-DOT1-MIB (32962).
    // TruthValue, VlanId and the enumerations as INTEGER, BITS as OCTET STRING.
    LLDPMIB_READ_ONLY_OBJECT(kXdot3PortConfigTLVsTxEnable, OCTET_PRIM_TYPE, 0, org_table_get<12>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPortAutoNegSupported, INTEGER_TYPE, 0, org_table_get<13>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPortAutoNegEnabled, INTEGER_TYPE, 1, org_table_get<13>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPortAutoNegAdvertisedCap, OCTET_PRIM_TYPE, 2, org_table_get<13>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPortOperMauType, INTEGER_TYPE, 3, org_table_get<13>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPowerPortClass, INTEGER_TYPE, 0, org_table_get<14>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPowerMDISupported, INTEGER_TYPE, 1, org_table_get<14>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPowerMDIEnabled, INTEGER_TYPE, 2, org_table_get<14>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPowerPairControlable, INTEGER_TYPE, 3, org_table_get<14>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPowerPairs, INTEGER_TYPE, 4, org_table_get<14>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocPowerClass, INTEGER_TYPE, 5, org_table_get<14>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocLinkAggStatus, OCTET_PRIM_TYPE, 0, org_table_get<15>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocLinkAggPortId, INTEGER_TYPE, 1, org_table_get<15>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3LocMaxFrameSize, INTEGER_TYPE, 0, org_table_get<16>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPortAutoNegSupported, INTEGER_TYPE, 0, org_table_get<17>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPortAutoNegEnabled, INTEGER_TYPE, 1, org_table_get<17>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPortAutoNegAdvertisedCap, OCTET_PRIM_TYPE, 2, org_table_get<17>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPortOperMauType, INTEGER_TYPE, 3, org_table_get<17>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPowerPortClass, INTEGER_TYPE, 0, org_table_get<18>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPowerMDISupported, INTEGER_TYPE, 1, org_table_get<18>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPowerMDIEnabled, INTEGER_TYPE, 2, org_table_get<18>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPowerPairControlable, INTEGER_TYPE, 3, org_table_get<18>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPowerPairs, INTEGER_TYPE, 4, org_table_get<18>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemPowerClass, INTEGER_TYPE, 5, org_table_get<18>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemLinkAggStatus, OCTET_PRIM_TYPE, 0, org_table_get<19>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemLinkAggPortId, INTEGER_TYPE, 1, org_table_get<19>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot3RemMaxFrameSize, INTEGER_TYPE, 0, org_table_get<20>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1ConfigPortVlanTxEnable, INTEGER_TYPE, 0, org_table_get<0>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1ConfigVlanNameTxEnable, INTEGER_TYPE, 0, org_table_get<1>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1ConfigProtoVlanTxEnable, INTEGER_TYPE, 0, org_table_get<2>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1ConfigProtocolTxEnable, INTEGER_TYPE, 0, org_table_get<3>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1LocPortVlanId, INTEGER_TYPE, 0, org_table_get<4>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1LocProtoVlanSupported, INTEGER_TYPE, 1, org_table_get<5>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1LocProtoVlanEnabled, INTEGER_TYPE, 2, org_table_get<5>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1LocVlanName, OCTET_PRIM_TYPE, 1, org_table_get<6>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1LocProtocolId, OCTET_PRIM_TYPE, 1, org_table_get<7>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1RemPortVlanId, INTEGER_TYPE, 0, org_table_get<8>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1RemProtoVlanSupported, INTEGER_TYPE, 1, org_table_get<9>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1RemProtoVlanEnabled, INTEGER_TYPE, 2, org_table_get<9>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1RemVlanName, OCTET_PRIM_TYPE, 1, org_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kXdot1RemProtocolId, OCTET_PRIM_TYPE, 1, org_table_get<11>),
};
// clang-format on
int32_t lldpmib_ext_OidListNum = sizeof lldpmib_ext_OidList / sizeof lldpmib_ext_OidList[0];

// The client was started by the module, which the hosts start first.
void init_lldpmib_ext(void*, int32_t start) {
    lldpmib_ext_data_drop();
    if (start != 0) lldpmib_ext_router_type = platform_get_router_type();
}

}  // extern "C"
