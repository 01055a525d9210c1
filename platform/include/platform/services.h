// The receivers of this platform, beside those that the switch fixes (15 the VSAN manager, 46 the identity service),
// and the opcodes that are this platform's own.
#ifndef PLATFORM_SERVICES_H
#define PLATFORM_SERVICES_H

enum {
  kServicePortManager = 60,
  kServiceDistribution = 61,
  kServiceControl = 62,        // switchd itself: status, faults, notification queue
  kServiceNotifications = 63,  // subscriptions; not a request/response service
};

// Opcode of kServicePortManager: one active membership. Message type 1 reads the pair in the request, 2 the next pair
// after it. Request and answer: VSAN (4 octets), interface (4), 1 when the membership was configured (1), zeros (3).
enum { kOpActiveMembership = 9001, kActiveMembershipSize = 12 };

#endif
