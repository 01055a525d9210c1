// The statuses that are this platform's own, beside those in vsan_records.h. Every status has its text in
// status_texts.cpp.
#ifndef PLATFORM_SERVICES_STATUS_TEXTS_H
#define PLATFORM_SERVICES_STATUS_TEXTS_H

enum {
  // The request itself.
  kStatusMalformed = 0x40F00001,  // the frame of a request cannot be read
  kStatusWrongSize = 0x40F00002,  // the payload's size is not that of the opcode's record
  kStatusUnknownOpcode = 0x40F00003,
  kStatusBadMessageType = 0x40F00004,  // the opcode does not have this message type
  kStatusWrongService = 0x40F00005,    // the request names another receiver
  kStatusInternal = 0x40F00006,        // the manager met an error of its own; its log says which
  kStatusStoreFailed = 0x40F00007,     // the store could not be written; nothing was changed
  kStatusAnswerTooLarge = 0x40F00008,  // the answer does not fit a message
  kStatusNotAllowed = 0x40F00009,      // the peer may read but not write
  kStatusBusy = 0x40F0000A,

  // Values out of range, by field.
  kStatusVsanRange = 0x40F00101,
  kStatusVsanReserved = 0x40F00102,  // VSAN 4095
  kStatusNameRange = 0x40F00103,
  kStatusMediaRange = 0x40F00104,
  kStatusAdminStateRange = 0x40F00105,
  kStatusMtuRange = 0x40F00106,
  kStatusLoadBalancingRange = 0x40F00107,
  kStatusInteropRange = 0x40F00108,
  kStatusInorderRange = 0x40F00109,
  kStatusLatencyRange = 0x40F0010A,
  kStatusLatencyType = 0x40F0010B,
  kStatusRowStatusRange = 0x40F0010C,
  kStatusTimerType = 0x40F0010D,
  kStatusTimerRange = 0x40F0010E,
  kStatusTimerFlags = 0x40F0010F,         // the flag or force byte is neither 0 nor 1
  kStatusNotificationRange = 0x40F00110,  // notification control is neither 1 nor 2
  kStatusTimerRelation = 0x40F00111,      // E_D_TOV must be below R_A_TOV
  kStatusNameMalformed = 0x40F00112,      // the name has no NUL in its field, or octets that are not printable
  kStatusRowCopyDamaged = 0x40F00113,     // the copy behind a row (vsan_row_copy.h) is none that was ever answered

  // State that stands in the way.
  kStatusTimerMustForce = 0x40F00201,  // a timer of an operational VSAN
  kStatusTooManyVsans = 0x40F00202,
  kStatusTooManyInterfaces = 0x40F00203,
  kStatusNoInterface = 0x40F00204,
  kStatusInterfaceExists = 0x40F00205,

  // Port manager.
  kStatusNoMembership = 0x40F00301,      // the pair is not an active membership
  kStatusEndOfMemberships = 0x40F00302,  // no pair after the given one

  // Distribution.
  kStatusNotDistributed = 0x40F00401,  // the application is not distributed
  kStatusDistributionOff = 0x40F00402,
  kStatusNoSession = 0x40F00403,
  kStatusSessionOpen = 0x40F00404,   // a session must be committed or aborted first
  kStatusSessionOther = 0x40F00405,  // another user's session is open
  kStatusNothingPending = 0x40F00406,

  // Roles and control.
  kStatusInterfaceDenied = 0x40F00501,  // the user's role does not hold the interface
  kStatusUnknownFault = 0x40F00502,
  kStatusQueueEmpty = 0x40F00503,
  kStatusRoleClosed = 0x40F00504,    // the user's role is closed: one of its configuration lines is malformed
  kStatusNoGroup = 0x40F00505,       // there are roles, and the user is in no group
  kStatusNoExtension = 0x40F00506,   // the agent extension is not loaded, so that no roles are known
  kStatusSwitchDenied = 0x40F00507,  // the user's role may not set what belongs to the whole switch
  kStatusRolesUnknown = 0x40F00508,  // the agent may not read one of its configuration files: roles may be missing
};

#endif
