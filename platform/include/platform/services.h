// The receivers of this platform, beside those that the switch fixes (15 the VSAN manager, 46 the identity service), and
// the opcodes that are this platform's own.
#ifndef PLATFORM_SERVICES_H
#define PLATFORM_SERVICES_H

enum {
  kServicePortManager = 60,
  kServiceDistribution = 61,
  kServiceControl = 62,        // switchd itself: status, faults, notification queue
  kServiceNotifications = 63,  // subscriptions; not a request/response service
};

#endif
