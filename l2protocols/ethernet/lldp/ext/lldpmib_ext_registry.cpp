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
// LLDP-V2-MIB (1.3.111.2.802.1.1.13) objects: lldpV2Objects, then group, ...
#define V2(name, ...) const uint32_t name[] = {1, 3, 111, 2, 802, 1, 1, 13, 1, __VA_ARGS__}
V2(kLldpV2MessageTxInterval, 1, 1);
V2(kLldpV2MessageTxHoldMultiplier, 1, 2);
V2(kLldpV2ReinitDelay, 1, 3);
V2(kLldpV2NotificationInterval, 1, 4);
V2(kLldpV2TxCreditMax, 1, 5);
V2(kLldpV2MessageFastTx, 1, 6);
V2(kLldpV2TxFastInit, 1, 7);
V2(kLldpV2PortConfigAdminStatus, 1, 8, 1, 3);
V2(kLldpV2PortConfigNotificationEnable, 1, 8, 1, 4);
V2(kLldpV2PortConfigTLVsTxEnable, 1, 8, 1, 5);
V2(kLldpV2DestMacAddress, 1, 9, 1, 2);
V2(kLldpV2ManAddrConfigTxEnable, 1, 10, 1, 5);
V2(kLldpV2ManAddrConfigRowStatus, 1, 10, 1, 6);
V2(kLldpV2StatsRemTablesLastChangeTime, 2, 1);
V2(kLldpV2StatsRemTablesInserts, 2, 2);
V2(kLldpV2StatsRemTablesDeletes, 2, 3);
V2(kLldpV2StatsRemTablesDrops, 2, 4);
V2(kLldpV2StatsRemTablesAgeouts, 2, 5);
V2(kLldpV2StatsTxPortFramesTotal, 2, 6, 1, 3);
V2(kLldpV2StatsTxLLDPDULengthErrors, 2, 6, 1, 4);
V2(kLldpV2StatsRxPortFramesDiscardedTotal, 2, 7, 1, 3);
V2(kLldpV2StatsRxPortFramesErrors, 2, 7, 1, 4);
V2(kLldpV2StatsRxPortFramesTotal, 2, 7, 1, 5);
V2(kLldpV2StatsRxPortTLVsDiscardedTotal, 2, 7, 1, 6);
V2(kLldpV2StatsRxPortTLVsUnrecognizedTotal, 2, 7, 1, 7);
V2(kLldpV2StatsRxPortAgeoutsTotal, 2, 7, 1, 8);
V2(kLldpV2LocChassisIdSubtype, 3, 1);
V2(kLldpV2LocChassisId, 3, 2);
V2(kLldpV2LocSysName, 3, 3);
V2(kLldpV2LocSysDesc, 3, 4);
V2(kLldpV2LocSysCapSupported, 3, 5);
V2(kLldpV2LocSysCapEnabled, 3, 6);
V2(kLldpV2LocPortIdSubtype, 3, 7, 1, 2);
V2(kLldpV2LocPortId, 3, 7, 1, 3);
V2(kLldpV2LocPortDesc, 3, 7, 1, 4);
V2(kLldpV2LocManAddrLen, 3, 8, 1, 3);
V2(kLldpV2LocManAddrIfSubtype, 3, 8, 1, 4);
V2(kLldpV2LocManAddrIfId, 3, 8, 1, 5);
V2(kLldpV2LocManAddrOID, 3, 8, 1, 6);
V2(kLldpV2RemChassisIdSubtype, 4, 1, 1, 5);
V2(kLldpV2RemChassisId, 4, 1, 1, 6);
V2(kLldpV2RemPortIdSubtype, 4, 1, 1, 7);
V2(kLldpV2RemPortId, 4, 1, 1, 8);
V2(kLldpV2RemPortDesc, 4, 1, 1, 9);
V2(kLldpV2RemSysName, 4, 1, 1, 10);
V2(kLldpV2RemSysDesc, 4, 1, 1, 11);
V2(kLldpV2RemSysCapSupported, 4, 1, 1, 12);
V2(kLldpV2RemSysCapEnabled, 4, 1, 1, 13);
V2(kLldpV2RemRemoteChanges, 4, 1, 1, 14);
V2(kLldpV2RemTooManyNeighbors, 4, 1, 1, 15);
V2(kLldpV2RemManAddrIfSubtype, 4, 2, 1, 3);
V2(kLldpV2RemManAddrIfId, 4, 2, 1, 4);
V2(kLldpV2RemManAddrOID, 4, 2, 1, 5);
V2(kLldpV2RemUnknownTLVInfo, 4, 3, 1, 2);
V2(kLldpV2RemOrgDefInfo, 4, 4, 1, 4);
#undef DOT1
#undef DOT3
#undef V2
// clang-format on

// The method routine of table T of the LLDP-V2-MIB set (the order of its tables).
template <int T>
constexpr GetMethod v2_table_get = lldpmib_rows::get<lldpmib_rows::v2_tables, T>;

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
    // LLDP-V2-MIB: Unsigned32 as Gauge32.
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2MessageTxInterval, GAUGE_TYPE, 0, v2_table_get<0>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2MessageTxHoldMultiplier, GAUGE_TYPE, 1, v2_table_get<0>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2ReinitDelay, GAUGE_TYPE, 2, v2_table_get<0>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2NotificationInterval, GAUGE_TYPE, 3, v2_table_get<0>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2TxCreditMax, GAUGE_TYPE, 4, v2_table_get<0>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2MessageFastTx, GAUGE_TYPE, 5, v2_table_get<0>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2TxFastInit, GAUGE_TYPE, 6, v2_table_get<0>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2PortConfigAdminStatus, INTEGER_TYPE, 2, v2_table_get<1>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2PortConfigNotificationEnable, INTEGER_TYPE, 3, v2_table_get<1>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2PortConfigTLVsTxEnable, OCTET_PRIM_TYPE, 4, v2_table_get<1>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2DestMacAddress, OCTET_PRIM_TYPE, 1, v2_table_get<2>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2ManAddrConfigTxEnable, INTEGER_TYPE, 4, v2_table_get<3>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2ManAddrConfigRowStatus, INTEGER_TYPE, 5, v2_table_get<3>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRemTablesLastChangeTime, TIME_TICKS_TYPE, 0, v2_table_get<4>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRemTablesInserts, GAUGE_TYPE, 1, v2_table_get<4>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRemTablesDeletes, GAUGE_TYPE, 2, v2_table_get<4>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRemTablesDrops, GAUGE_TYPE, 3, v2_table_get<4>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRemTablesAgeouts, GAUGE_TYPE, 4, v2_table_get<4>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsTxPortFramesTotal, COUNTER_TYPE, 2, v2_table_get<5>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsTxLLDPDULengthErrors, COUNTER_TYPE, 3, v2_table_get<5>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRxPortFramesDiscardedTotal, COUNTER_TYPE, 2, v2_table_get<6>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRxPortFramesErrors, COUNTER_TYPE, 3, v2_table_get<6>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRxPortFramesTotal, COUNTER_TYPE, 4, v2_table_get<6>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRxPortTLVsDiscardedTotal, COUNTER_TYPE, 5, v2_table_get<6>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRxPortTLVsUnrecognizedTotal, COUNTER_TYPE, 6, v2_table_get<6>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2StatsRxPortAgeoutsTotal, GAUGE_TYPE, 7, v2_table_get<6>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocChassisIdSubtype, INTEGER_TYPE, 0, v2_table_get<7>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocChassisId, OCTET_PRIM_TYPE, 1, v2_table_get<7>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocSysName, OCTET_PRIM_TYPE, 2, v2_table_get<7>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocSysDesc, OCTET_PRIM_TYPE, 3, v2_table_get<7>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocSysCapSupported, OCTET_PRIM_TYPE, 4, v2_table_get<7>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocSysCapEnabled, OCTET_PRIM_TYPE, 5, v2_table_get<7>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocPortIdSubtype, INTEGER_TYPE, 1, v2_table_get<8>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocPortId, OCTET_PRIM_TYPE, 2, v2_table_get<8>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocPortDesc, OCTET_PRIM_TYPE, 3, v2_table_get<8>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocManAddrLen, GAUGE_TYPE, 2, v2_table_get<9>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocManAddrIfSubtype, INTEGER_TYPE, 3, v2_table_get<9>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocManAddrIfId, GAUGE_TYPE, 4, v2_table_get<9>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2LocManAddrOID, OBJECT_ID_TYPE, 5, v2_table_get<9>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemChassisIdSubtype, INTEGER_TYPE, 4, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemChassisId, OCTET_PRIM_TYPE, 5, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemPortIdSubtype, INTEGER_TYPE, 6, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemPortId, OCTET_PRIM_TYPE, 7, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemPortDesc, OCTET_PRIM_TYPE, 8, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemSysName, OCTET_PRIM_TYPE, 9, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemSysDesc, OCTET_PRIM_TYPE, 10, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemSysCapSupported, OCTET_PRIM_TYPE, 11, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemSysCapEnabled, OCTET_PRIM_TYPE, 12, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemRemoteChanges, INTEGER_TYPE, 13, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemTooManyNeighbors, INTEGER_TYPE, 14, v2_table_get<10>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemManAddrIfSubtype, INTEGER_TYPE, 2, v2_table_get<11>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemManAddrIfId, GAUGE_TYPE, 3, v2_table_get<11>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemManAddrOID, OBJECT_ID_TYPE, 4, v2_table_get<11>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemUnknownTLVInfo, OCTET_PRIM_TYPE, 1, v2_table_get<12>),
    LLDPMIB_READ_ONLY_OBJECT(kLldpV2RemOrgDefInfo, OCTET_PRIM_TYPE, 3, v2_table_get<13>),
};
// clang-format on
int32_t lldpmib_ext_OidListNum = sizeof lldpmib_ext_OidList / sizeof lldpmib_ext_OidList[0];

// The client was started by the module, which the hosts start first.
void init_lldpmib_ext(void*, int32_t start) {
    lldpmib_ext_data_drop();
    if (start != 0) lldpmib_ext_router_type = platform_get_router_type();
}

}  // extern "C"
