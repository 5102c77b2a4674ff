#!/usr/bin/env bash
# liblldpmib.so exports what the agent and tools reach by name, and hides the
# module's internals.
set -euo pipefail
lib="$1"
exports=$(nm -D --defined-only "$lib" | awk '{print $3}')
fail=0
required=(init_lldpmib lldpmib_init lldpmib_term lldpmib_oid_table lldpmib_OidList
  lldpmib_OidListNum lldp_debug_arr_kel lldp_debug_init lldp_shim_debug_init
  lldp_get_debug_flag_value lldp_trace_debug lldp_mib_debug lldpmib_debug_flags
  lldpmib_intf_cache_timer_tree lldpmib_intf_cache_timer_parent lldp_dummy_error_status)
for entry in LocalSystemData LocPortEntry LocManAddrEntry RemEntry RemManAddrEntry \
             RemUnknownTLVEntry RemOrgDefInfoEntry Configuration PortConfigEntry Statistics \
             StatsTxPortEntry StatsRxPortEntry; do
  required+=("lldp${entry}_get" "k_lldp${entry}_get")
done
for s in "${required[@]}"; do
  grep -qx "$s" <<<"$exports" || { echo "not exported: $s"; fail=1; }
done
ids=$(grep -c '^IDlldp' <<<"$exports" || true)
[ "$ids" -eq 48 ] || { echo "identifier arrays exported: $ids, want 48"; fail=1; }
for s in lldpmib_lock lldpmib_unlock lldpmib_remote_shim_run lldpmib_snapshot_usable \
         lldpmib_compare_addr_entry lldpmib_neighbor_list_compare; do
  if grep -qx "$s" <<<"$exports"; then echo "internal routine exported: $s"; fail=1; fi
done
exit $fail
