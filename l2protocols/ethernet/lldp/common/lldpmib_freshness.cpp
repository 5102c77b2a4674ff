#include "lldpmib_freshness.h"

#include "lldp_client.h"
#include "platform_sys.h"

extern "C" {

lldpmib_data_stamp lldpmib_data_stamp_now(void) {
    lldp_client_generation g;
    lldpmib_data_stamp s{};
    s.generation_known = lldp_client_get_generation(&g) == 0;
    s.generation = s.generation_known ? g.data : 0;
    s.fetched_at = platform_time(nullptr);
    return s;
}

int lldpmib_data_fresh(const lldpmib_data_stamp* data, const lldpmib_data_stamp* now) {
    bool changed = data->generation_known && now->generation_known && data->generation != now->generation;
    return data->fetched_at == now->fetched_at && !changed;
}

}  // extern "C"
