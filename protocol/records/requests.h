// Who is asked, for what, and how: receivers, opcodes, message types, notifications.
//
// Services 15 and 46, the message types, the notifications and the opcodes of the VSAN manager and the identity service
// are the switch's; the others are this platform's own.
#ifndef PROTOCOL_RECORDS_REQUESTS_H
#define PROTOCOL_RECORDS_REQUESTS_H

// Receivers.
enum {
  kServiceVsanManager = 15,
  kServiceIdentity = 46,
  kServicePortManager = 60,
  kServiceDistribution = 61,
  kServiceControl = 62,        // switchd itself: status, faults, notification queue
  kServiceNotifications = 63,  // subscriptions; not a request/response service
  kServicePublished = 64,      // hands out the published page; not a request/response service either
};

// Message types. kMsgKdxGet reads what a distribution session holds.
enum { kMsgGet = 1, kMsgGetNext = 2, kMsgSet = 3, kMsgDelete = 4, kMsgKdxGet = 5 };

// Opcodes of the VSAN manager. Payloads are in vsan_records.h; those not named there are one or two words.
enum {
  kOpInterfaceVsan = 124,    // vsanIfEntry
  kOpVsanNumber = 125,       // answers the number of VSANs
  kOpTableLastChange = 126,  // answers seconds and microseconds since the epoch
  kOpFcTimer = 127,          // vsanFcTimerEntry
  kOpInterfaceNumber = 128,  // answers the number of interfaces
  kOpLatency = 136,          // vsanLatency
  kOpInorderDelivery = 140,  // 1 on, 2 off
  kOpVsanRow = 149,          // vsanRowMessage
  kOpNotificationControl = 8018,
};

// Of the identity service: answers the switch's world wide name, eight octets. The others are this platform's own:
// kOpSwitchName reads and sets the switch's name, a switch_name (switch_records.h); kOpSwitchWwnChange sets the world
// wide name, eight octets that are not all zero.
enum { kOpSwitchWwn = 1282, kOpSwitchName = 9301, kOpSwitchWwnChange = 9302 };

// Of the port manager; payloads in port_records.h.
enum { kOpActiveMembership = 9001, kOpInterface = 9002, kOpInterfaceRow = 9003, kOpInterfaceName = 9004 };

// Of distribution; payloads in distribution_records.h.
enum { kOpDistribution = 9101, kOpPendingTimer = 9102, kOpKeptOut = 9103, kOpDistributionLock = 9104 };

// Of switchd itself. Payloads are JSON texts, without a NUL; a SET's request is an object, a GET asks with no payload
// and answers an object.
enum {
  // GET: name, wwn, pid, uptime, vsans, interfaces, store, per-service counters, notification counters,
  // agents that do not share the page.
  kOpStatus = 9201,
  // GET: the faults in force, by service. SET adds one: {"service": NAME, "kind": delay|status|drop|short-answer|hang,
  // "opcode": N or -1, "count": N or -1, "value": N, "side": both|reads|writes, "spares_operator": true|false, "lasts":
  // milliseconds, 0 without end}; all but the first two may be left out. DELETE clears all.
  kOpFaults = 9202,
  // GET: counters of the notification queue, and its oldest entries.
  kOpNotificationQueue = 9203,
  // The configuration of the whole switch as a topology file, in pieces of up to kConfigurationPiece bytes, less when
  // many of them are escaped. GET with {"offset": N}: 0 takes a copy, which the pieces that follow are of; answers
  // {"text": PIECE, "total": BYTES}. SET with {"offset": N, "total": BYTES, "text": PIECE, "name": what errors call the
  // file, "apply": true|false}: pieces come in order, 0 first; the last one is answered with {"problems": lines,
  // "extent": what changes}, and applied when that is wanted and there is no problem. The others are answered with {}.
  // Pieces are kept per client process, a minute long. DELETE makes the switch what a new store would be filled with.
  kOpConfiguration = 9204,
  // An agent that does not share the page of switchd says so: SET {"page": where it keeps events and errors, empty when
  // nowhere, "why": TEXT}, each of up to kAgentPageTextMax bytes. It holds until the same connection says otherwise or
  // ends.
  kOpAgentPage = 9205,
  // The fabric of switches. GET: its name, this switch's state in it (none, left, joining, member, conflict,
  // unreachable) and why, the member that is asked, the revision and number of the commit applied last, who holds the
  // lock, and as far as the fabric answers "switches" and "commits", the last ones. SET: {"command": "join", "take":
  // "theirs", "ours" or ""}, or {"command": "leave"}.
  kOpFabric = 9206,
};

enum { kAgentPageTextMax = 512 };
enum { kConfigurationPiece = 24 * 1024, kConfigurationMax = 16 * 1024 * 1024 };  // bytes; of a whole file

// Notifications; payloads in notification_payloads.h.
enum { kNotifyPortMembership = 102, kNotifyVsanChange = 145 };

#endif
