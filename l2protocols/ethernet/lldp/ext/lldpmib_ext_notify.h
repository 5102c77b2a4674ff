// The notification decision's own (lldpmib_ext_notify.cpp), beside
// lldpmib_ext_notification_due in lldpmib_ext.h.
#pragma once

// Forgets every change seen and every notification sent (tests).
void lldpmib_ext_notify_reset(void);
