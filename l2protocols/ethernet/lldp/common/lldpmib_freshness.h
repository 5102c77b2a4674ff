// When fetched data may still answer: the one freshness rule of the module's
// snapshots and the extension library's.
#pragma once
#include <stdint.h>
#include <time.h>

extern "C" {

// What data knows of its fetch: the second it was fetched and the client's
// data change count read just before.
typedef struct lldpmib_data_stamp {
    time_t fetched_at;
    uint32_t generation;
    uint8_t generation_known;  // 0: the client cannot tell (any failure, ENOSYS included)
} lldpmib_data_stamp;

// The stamp of data fetched now (the change count read before the fetch, so
// a change during it only costs a rebuild).
lldpmib_data_stamp lldpmib_data_stamp_now(void);
// Data answers only within the second it was fetched, however often it is
// used, and not once the client reports a change since: no answer comes from
// data a second old or more.  now is a stamp of this moment.
int lldpmib_data_fresh(const lldpmib_data_stamp* data, const lldpmib_data_stamp* now);

}  // extern "C"
