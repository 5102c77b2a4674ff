// The extension library's served objects and its start and stop.
#include "lldpmib_ext_internal.h"
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
// clang-format on

}  // namespace

// The nominator is the column (or scalar number) less one, as in the module.
extern "C" {

// clang-format off
// Every SYNTAX as LLDP-MIB gives it: Integer32 and the enumerations as
// INTEGER, TimeStamp as TimeTicks, ZeroBasedCounter32 as Gauge32.
ObjectInfo lldpmib_ext_OidList[21] = {
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
};
// clang-format on
int32_t lldpmib_ext_OidListNum = 21;

// The client was started by the module, which the hosts start first.
void init_lldpmib_ext(void*, int32_t start) {
    lldpmib_ext_data_drop();
    if (start != 0) lldpmib_ext_router_type = platform_get_router_type();
}

}  // extern "C"
