// The extension library's served objects.
#include "lldpmib_ext.h"

extern "C" {

ObjectInfo lldpmib_ext_OidList[1] = {};
int32_t lldpmib_ext_OidListNum = 0;

void init_lldpmib_ext(void*, int32_t) {}

}  // extern "C"
