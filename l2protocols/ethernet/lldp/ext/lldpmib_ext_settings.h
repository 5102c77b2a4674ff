// The extension library's own: its settings as its code reads them (the
// setters are in lldpmib_ext.h), and a reset of the notification state.
#pragma once
#include <stdint.h>

extern "C" {

// lldpNotificationInterval in seconds (5..3600).
int32_t lldpmib_ext_notification_interval(void);
// 1 when every port notifies whatever the daemon says.
int lldpmib_ext_notify_all_ports(void);

}  // extern "C"

extern "C" {

// Forgets every change seen and every notification sent (tests only).
void lldpmib_ext_notify_reset(void);

}  // extern "C"
