#include "platform/syserr.h"

#include <stdio.h>

#include "statuses.h"

namespace {

struct status_text {
  int status;
  const char *text;
};

constexpr status_text kStatusTexts[] = {
    {0, "success"},
    {kStatusNoVsan, "no such VSAN"},
    {kStatusNotInDistribution, "the VSAN takes no part in distribution"},
    {kStatusVsanConflict, "the VSAN does not fit the request: its name is in use, or it must stay"},
    {kStatusLatencyZero, "a drop latency of 0 cannot be set"},
    {kStatusNoValue, "no value was given"},
    {kStatusRemoteLock, "another switch holds the distribution lock"},
    {kStatusNoEntry, "no such row, or no further row"},
    {kStatusVsanDenied, "the user may not touch this VSAN"},
    {kStatusRowDenied, "a restricted user may not create or delete this VSAN"},

    {kStatusMalformed, "malformed request"},
    {kStatusWrongSize, "the payload's size does not fit the request"},
    {kStatusUnknownOpcode, "unknown opcode"},
    {kStatusBadMessageType, "the opcode does not have this message type"},
    {kStatusWrongService, "the request is for another receiver"},
    {kStatusStoreFailed, "the store could not be written; nothing was changed"},
    {kStatusAnswerTooLarge, "the answer does not fit a message"},
    {kStatusBusy, "the manager is busy"},

    {kStatusVsanRange, "VSAN id out of range: 1 to 4094"},
    {kStatusVsanReserved, "VSAN 4095 is reserved"},
    {kStatusNameRange, "VSAN name too long: at most 32 octets"},
    {kStatusMediaRange, "media type out of range: 1 (Fibre Channel) or 2 (Ethernet)"},
    {kStatusAdminStateRange, "admin state out of range: 1 (active) or 2 (suspended)"},
    {kStatusMtuRange, "MTU out of range: 256 to 2112"},
    {kStatusLoadBalancingRange, "load balancing out of range: 1 (source and destination) or 2 (exchange too)"},
    {kStatusInteropRange, "interoperability mode out of range: 0 (default) to 4"},
    {kStatusInorderRange, "in-order delivery out of range: 1 (on) or 2 (off)"},
    {kStatusLatencyRange, "latency out of range: at most 60000 ms, and not 0 for a VSAN"},
    {kStatusLatencyType, "latency type out of range: 17 (switch) or 18 (network)"},
    {kStatusRowStatusRange, "row status out of range: 1 to 6"},
    {kStatusTimerType, "timer type out of range: 7 (E_D_TOV), 8 (R_A_TOV), 9 (D_S_TOV) or 10 (F_S_TOV)"},
    {kStatusTimerRange, "timer value out of range"},
    {kStatusTimerFlags, "a timer's flag and force bytes must be 0 or 1"},
    {kStatusNotificationRange, "notification control out of range: 1 (on) or 2 (off)"},
    {kStatusNameMalformed, "a VSAN name may have no blank and no control character, and must be UTF-8 text"},
    {kStatusRowCopyDamaged, "the copy of the row as it was read, which comes back with it, is damaged"},

    {kStatusInterfaceName, "interface name: 1 to 31 octets of UTF-8 without control characters are wanted"},
    {kStatusInterfaceIndex, "interface index out of range: 1 to 4294967294"},
    {kStatusSwitchName, "switch name: at most 255 octets of UTF-8 without control characters are wanted"},
    {kStatusSwitchWwn, "world wide name: eight octets, not all of them zero, are wanted"},

    {kStatusTimerMustForce, "the VSAN is operational: its timers must be forced"},
    {kStatusNoInterface, "no such interface"},
    {kStatusInterfaceExists, "another interface has this index or this name"},
    {kStatusInterfacesFull, "the switch has as many interfaces as it can have: 4096"},

    {kStatusNoMembership, "the interface is not an active member of the VSAN"},
    {kStatusEndOfMemberships, "no further active membership"},

    {kStatusDistributionOff, "distribution is off"},
    {kStatusNoSession, "no distribution session is open"},
    {kStatusSessionOpen, "a distribution session is open: commit or abort it first"},
    {kStatusSessionOther, "another user's distribution session is open"},
    {kStatusFabricAway, "the fabric does not answer; nothing was changed"},
    {kStatusCommitUnknown, "the fabric did not answer the commit: it is applied everywhere or nowhere"},
    {kStatusSessionLost, "the session's lock was lost; resume it to keep its values, or abort it to drop them"},
    {kStatusNotJoined, "the switch is not in the fabric: join it first"},
    {kStatusInFabric, "the switch is in a fabric: leave it first"},
    {kStatusNoFabric, "switchd was started without a fabric"},

    {kStatusInterfaceDenied, "the user's role does not hold the interface"},
    {kStatusUnknownFault, "unknown kind of fault"},
    {kStatusRoleClosed, "the user's role is closed: one of its configuration lines is malformed"},
    {kStatusNoGroup, "roles are in force and the user is in no group"},
    {kStatusNoExtension, "the agent extension is not loaded: its line \"dlmod switch_agent\" is missing"},
    {kStatusRolesUnknown, "the agent may not read one of its configuration files: roles may be missing"},
    {kStatusSwitchDenied, "the user's role may not set what belongs to the whole switch"},
};

constexpr bool all_differ() {
  for (const status_text &a : kStatusTexts) {
    for (const status_text &b : kStatusTexts) {
      if (&a != &b && a.status == b.status) {
        return false;
      }
    }
  }
  return true;
}
static_assert(all_differ());

}  // namespace

const char *syserr2str(int code) {
  for (const status_text &row : kStatusTexts) {
    if (row.status == code) {
      return row.text;
    }
  }
  static thread_local char unknown[32];
  snprintf(unknown, sizeof unknown, "status 0x%08x", static_cast<unsigned>(code));
  return unknown;
}

const char *syserr_format(int code) {
  static thread_local char text[160];
  snprintf(text, sizeof text, "0x%08x (%s)", static_cast<unsigned>(code), syserr2str(code));
  return text;
}
