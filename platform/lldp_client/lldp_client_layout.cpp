// The record layouts the module reads; a mismatch here is a build error.
#include <cstddef>

#include "lldp_client.h"

#define AT(type, field, off) static_assert(offsetof(type, field) == (off), #type "." #field)

AT(lldp_client_filter, kind, 0);
AT(lldp_client_filter, ifhandle, 16);
AT(lldp_client_filter, node_id, 32);
static_assert(sizeof(lldp_client_filter) == 40);

AT(lldp_local_system_data_bag, chassis_id, 0);
AT(lldp_local_system_data_bag, chassis_id_subtype, 8);
AT(lldp_local_system_data_bag, sys_name, 16);
AT(lldp_local_system_data_bag, sys_desc, 24);
AT(lldp_local_system_data_bag, supported_caps, 32);
AT(lldp_local_system_data_bag, enabled_caps, 34);
static_assert(sizeof(lldp_local_system_data_bag) == 40);

AT(lldp_interface_td, port_num, 24);
AT(lldp_interface_td, port_id, 32);
AT(lldp_interface_td, port_id_subtype, 40);
AT(lldp_interface_td, port_desc, 48);

AT(lldp_addr_element, next, 0);
AT(lldp_addr_element, addr_type, 8);
AT(lldp_addr_element, addr, 16);
AT(lldp_addr_element, addr_subtype, 32);
AT(lldp_addr_element, if_id, 36);
static_assert(sizeof(lldp_addr_element) == 40);

AT(lldp_local_ma_td, addrs, 0);

AT(unknown_tlv_element, next, 0);
AT(unknown_tlv_element, type, 8);
AT(unknown_tlv_element, info_len, 16);
AT(unknown_tlv_element, info, 24);

AT(org_def_tlv_element, next, 0);
AT(org_def_tlv_element, oui, 8);
AT(org_def_tlv_element, subtype, 12);
AT(org_def_tlv_element, index, 16);
AT(org_def_tlv_element, info_len, 24);
AT(org_def_tlv_element, info, 32);

AT(lldp_neighbor_mib, time_mark, 0);
AT(lldp_neighbor_mib, port_num, 4);
AT(lldp_neighbor_mib, rem_index, 8);
AT(lldp_neighbor_mib, chassis_id_subtype, 12);
AT(lldp_neighbor_mib, chassis_id_len, 14);
AT(lldp_neighbor_mib, port_id_subtype, 16);
AT(lldp_neighbor_mib, port_id_len, 18);
AT(lldp_neighbor_mib, enabled_caps, 20);
AT(lldp_neighbor_mib, supported_caps, 22);
AT(lldp_neighbor_mib, unknown_tlvs, 24);
AT(lldp_neighbor_mib, org_def_tlvs, 32);

AT(lldp_neighbor_detail, port_desc, 8);
AT(lldp_neighbor_detail, sys_name, 16);
AT(lldp_neighbor_detail, sys_desc, 24);
AT(lldp_neighbor_detail, man_addrs, 56);

AT(neighbor_td, chassis_id, 24);
AT(neighbor_td, port_id, 32);
AT(neighbor_td, port_marker, 40);
AT(neighbor_td, detail, 64);
AT(neighbor_td, mib, 72);

// Deep copies pack several records into one allocation back to back.
static_assert(sizeof(neighbor_td) % 8 == 0 && sizeof(lldp_neighbor_mib) % 8 == 0 &&
              sizeof(lldp_neighbor_detail) % 8 == 0 && sizeof(lldp_addr_element) % 8 == 0 &&
              sizeof(unknown_tlv_element) % 8 == 0 && sizeof(org_def_tlv_element) % 8 == 0 &&
              sizeof(lldp_interface_td) % 8 == 0 && sizeof(lldp_local_ma_td) % 8 == 0);
