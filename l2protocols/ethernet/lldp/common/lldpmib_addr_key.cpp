#include "lldpmib_addr_key.h"

#include <string.h>

bool lldpmib_addr_key_after(lldp_addr_element* key) {
    if (key->addr_type == 0) {
        uint32_t host;
        memcpy(&host, key->addr, sizeof host);
        if (host != UINT32_MAX) {
            host++;
            memcpy(key->addr, &host, sizeof host);
            return true;
        }
        memset(key, 0, sizeof *key);
        key->addr_type = 1;
        return true;
    }
    for (int i = 15; i >= 0; i--)
        if (++key->addr[i] != 0) return true;
    return false;
}
