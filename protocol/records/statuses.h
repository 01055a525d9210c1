// Statuses: 32-bit words that an `int` holds; 0 is success. syserr2str (platform/syserr.h) has the text of each.
#ifndef PROTOCOL_RECORDS_STATUSES_H
#define PROTOCOL_RECORDS_STATUSES_H

// The switch's.
enum {
  kStatusNoVsan = 0x40190001,             // the named VSAN does not fit the request: there is none
  kStatusNotInDistribution = 0x40190002,  // the distribution service holds no value for this VSAN
  kStatusVsanConflict = 0x40190004,       // the named VSAN does not fit: a name in use, a VSAN that must stay
  kStatusLatencyZero = 0x40190014,        // a drop latency of 0 marks "not written" and cannot be set
  kStatusNoValue = 0x4019001F,            // a write came without a value
  kStatusRemoteLock = 0x40190028,         // another switch holds the distribution lock
  kStatusNoEntry = 0x40490002,            // no such row; also the end of a table
  kStatusVsanDenied = 0x4049002C,         // the user may not touch this VSAN
  kStatusRowDenied = 0x40540008,          // a restricted user may not create or delete this row
};

// This platform's own. A number that was given out is not used again.
enum {
  // The request itself.
  kStatusMalformed = 0x40F00001,  // the frame of a request cannot be read
  kStatusWrongSize = 0x40F00002,  // the payload's size is not that of the opcode's record
  kStatusUnknownOpcode = 0x40F00003,
  kStatusBadMessageType = 0x40F00004,  // the opcode does not have this message type
  kStatusWrongService = 0x40F00005,    // the request names another receiver
  kStatusStoreFailed = 0x40F00007,     // the store could not be written; nothing was changed
  kStatusAnswerTooLarge = 0x40F00008,  // the answer does not fit a message
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
  kStatusNameMalformed = 0x40F00112,      // the name has no NUL in its field, a blank, or is no printable UTF-8
  kStatusRowCopyDamaged = 0x40F00113,     // the copy behind a row (vsan_row_copy.h) is none that was ever answered
  kStatusInterfaceName = 0x40F00114,      // the interface's name: empty, too long, or no printable UTF-8
  kStatusInterfaceIndex = 0x40F00115,     // an index that no interface can have
  kStatusSwitchName = 0x40F00116,         // the switch's name: too long, or no printable UTF-8
  kStatusSwitchWwn = 0x40F00117,          // a world wide name that is all zeros

  // State that stands in the way.
  kStatusTimerMustForce = 0x40F00201,  // a timer of an operational VSAN
  kStatusNoInterface = 0x40F00204,
  kStatusInterfaceExists = 0x40F00206,  // another interface has the index or the name
  kStatusInterfacesFull = 0x40F00207,   // the switch has as many interfaces as it can have

  // Port manager.
  kStatusNoMembership = 0x40F00301,      // the pair is not an active membership
  kStatusEndOfMemberships = 0x40F00302,  // no pair after the given one

  // Distribution.
  kStatusDistributionOff = 0x40F00402,
  kStatusNoSession = 0x40F00403,
  kStatusSessionOpen = 0x40F00404,    // a session must be committed or aborted first
  kStatusSessionOther = 0x40F00405,   // another user's session is open
  kStatusFabricAway = 0x40F00406,     // the fabric does not answer in time; nothing was changed
  kStatusCommitUnknown = 0x40F00407,  // the fabric did not answer a commit: it is applied everywhere or nowhere
  kStatusSessionLost = 0x40F00408,    // the session's lock is gone; its values are kept
  kStatusNotJoined = 0x40F00409,      // this switch has values of its own and is not in the fabric yet
  kStatusInFabric = 0x40F0040A,       // distribution cannot be turned off in a fabric
  kStatusNoFabric = 0x40F0040B,       // switchd was started without a fabric

  // Roles and control.
  kStatusInterfaceDenied = 0x40F00501,  // the user's role does not hold the interface
  kStatusUnknownFault = 0x40F00502,
  kStatusRoleClosed = 0x40F00504,    // the user's role is closed: one of its configuration lines is malformed
  kStatusNoGroup = 0x40F00505,       // there are roles, and the user is in no group
  kStatusNoExtension = 0x40F00506,   // the agent extension is not loaded, so that no roles are known
  kStatusSwitchDenied = 0x40F00507,  // the user's role may not set what belongs to the whole switch
  kStatusRolesUnknown = 0x40F00508,  // the agent may not read one of its configuration files: roles may be missing
};

#endif
