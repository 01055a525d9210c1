#include "served_pdu.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <limits.h>
#include <net-snmp/agent/agent_callbacks.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/library/snmpTCPDomain.h>
#include <net-snmp/library/snmpTCPIPv6Domain.h>
#include <net-snmp/library/snmpUDPDomain.h>
#include <net-snmp/library/snmpUDPIPv6Domain.h>
#include <net-snmp/library/snmpUnixDomain.h>
#include <stdio.h>
#include <string.h>

#include "named_rows.h"
#include "platform/agent.h"
#include "refused_requests.h"
#include "roles_gate.h"
#include "roles_report.h"
#include "served_exchanges.h"
#include "switch_root.h"
#include "switchplatform/served_object.h"
#include "user_marks.h"

namespace {

constexpr char kHandlerName[] = "switch_agent";
constexpr oid kRoot[] = {SWITCH_ROOT};
constexpr size_t kRootLength = sizeof kRoot / sizeof kRoot[0];
constexpr size_t kNameMax = 256;
constexpr int kPeerMax = 256;

struct served_requests {
  const netsnmp_agent_session *by;
  const netsnmp_pdu *pdu;  // null: no PDU is being served
  role_verdict role;
};

served_requests served;

// The security name that a v1 or v2c PDU's community maps to where it came from; null when it maps to none. The agent
// compares transport domains by address, too.
const char *community_name(const netsnmp_pdu *pdu) {
  const char *community = reinterpret_cast<const char *>(pdu->community);
  void *peer = pdu->transport_data;
  const int size = pdu->transport_data_length;
  const char *name = nullptr;
  const char *context = nullptr;
  int found = 0;
  if (pdu->tDomain == netsnmpUDPDomain || pdu->tDomain == netsnmp_snmpTCPDomain) {
    found = netsnmp_udp_getSecName(peer, size, community, pdu->community_len, &name, &context);
  } else if (pdu->tDomain == netsnmp_UDPIPv6Domain || pdu->tDomain == netsnmp_TCPIPv6Domain) {
    found = netsnmp_udp6_getSecName(peer, size, community, static_cast<int>(pdu->community_len), &name, &context);
  } else if (pdu->tDomain == netsnmp_UnixDomain) {
    found = netsnmp_unix_getSecName(peer, size, community, pdu->community_len, &name, &context);
  }
  return found ? name : nullptr;
}

const char *user_name(const netsnmp_pdu *pdu) {
  if (pdu == nullptr) {
    return nullptr;
  }
  return pdu->version == SNMP_VERSION_1 || pdu->version == SNMP_VERSION_2c ? community_name(pdu) : pdu->securityName;
}

const char *group_of(const netsnmp_pdu *pdu) {
  const char *name = user_name(pdu);
  const vacm_groupEntry *group = name == nullptr ? nullptr : vacm_getGroupEntry(pdu->securityModel, name);
  return group == nullptr ? nullptr : group->groupName;
}

void serve(const netsnmp_agent_session *by) {
  served.by = by;
  served.pdu = by == nullptr ? nullptr : by->pdu;
  served.role = roles_judge(roles_go_by_group() ? group_of(served.pdu) : nullptr);
}

// Old-API objects are not told which PDU they are asked for; this handler in front of them knows, and lets through what
// the user's role allows.
int keep_pdu(netsnmp_mib_handler *handler, netsnmp_handler_registration *registration, netsnmp_agent_request_info *info,
             netsnmp_request_info *requests) {
  const served_requests outer = served;
  serve(info->asp);
  user_marks_see(served.pdu);

  int result = SNMP_ERR_NOERROR;
  refused_requests_begin();
  if (roles_admit(served.role, registration, info, requests)) {
    const std::vector<named_row> rows = named_rows_remember(info, requests);
    const int outer_pdu = served_exchanges_begin(info);
    result = netsnmp_call_next_handler(handler, registration, info, requests);
    named_rows_restore(registration, info, rows);
    served_exchanges_end(info, outer_pdu);
  }
  refused_requests_end(info, requests);

  served = outer;
  return result;
}

// Returns whether the handler was put there now.
bool inject(netsnmp_handler_registration *registration) {
  if (registration == nullptr || registration->handler == nullptr ||
      netsnmp_find_handler_by_name(registration, kHandlerName) != nullptr) {
    return false;
  }
  netsnmp_mib_handler *handler = netsnmp_create_handler(kHandlerName, keep_pdu);
  if (handler == nullptr || netsnmp_inject_handler(registration, handler) != SNMPERR_SUCCESS) {
    snmp_log(LOG_ERR, "switch_agent: an object cannot be watched: %s\n", registration->handlerName);
    return false;
  }
  return true;
}

struct objects {
  size_t all;
  size_t added;  // those that got the handler now
};

objects inject_everywhere() {
  objects found = {};
  for (netsnmp_subtree *tree = netsnmp_subtree_find_first(""); tree != nullptr; tree = tree->next) {
    if (snmp_oidtree_compare(tree->name_a, tree->namelen, kRoot, kRootLength) != 0 || tree->namelen < kRootLength) {
      continue;
    }
    for (netsnmp_subtree *child = tree; child != nullptr; child = child->children) {
      found.all += 1;
      found.added += inject(child->reginfo) ? 1 : 0;
    }
  }
  return found;
}

// An object outside the root, which its module named.
extern "C" int switch_agent_serve(netsnmp_handler_registration *object) {
  return inject(object) ? 0 : -1;
}

int on_registered(int, int, void *, void *) {
  if (inject_everywhere().added > 0 && roles_closed() != 0) {
    roles_report_later();
  }
  return 0;
}

// At mapping, and never taken back: this library stays mapped, and objects may be registered, and must be closed,
// without its ever being loaded as a module.
__attribute__((constructor)) void watch_what_is_registered() {
  snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID, on_registered, nullptr);
}

}  // namespace

size_t served_pdu_objects() {
  return inject_everywhere().all;
}

bool is_under_switch_root(const oid *name, size_t length, const oid *numbers, size_t count) {
  return length >= kRootLength + count && snmp_oid_compare(name + kRootLength, count, numbers, count) == 0;
}

int served_pdu_number() {
  return served.pdu == nullptr ? 0 : static_cast<int>(served.pdu->transid);
}

role_verdict served_pdu_role() {
  return served.pdu == nullptr ? roles_judge(nullptr) : served.role;
}

int get_pdu_reqid() {
  static int outside = 0;
  if (served.pdu != nullptr) {
    return served_pdu_number();
  }
  // A row that is kept for one number must not outlive it, nor be taken for a PDU's, whose numbers are positive.
  outside = outside == INT_MIN ? -1 : outside - 1;
  return outside;
}

const char *get_snmp_username(int) {
  static char text[kNameMax];
  const char *name = user_name(served.pdu);
  snprintf(text, sizeof text, "%s", name == nullptr ? "" : name);
  return text;
}

namespace {

// The text of one peer's address: a manager station asks more than once, and making the text takes longer than the rest
// of a small SET.
struct peer_text {
  const netsnmp_transport *transport;
  int size;  // of `peer` that is used
  char peer[kPeerMax];
  char text[kNameMax];
};

peer_text last_peer;

bool is_last_peer(const netsnmp_transport *transport, const netsnmp_pdu *pdu) {
  return last_peer.transport == transport && pdu->transport_data != nullptr && pdu->transport_data_length > 0 &&
         last_peer.size == pdu->transport_data_length &&
         memcmp(last_peer.peer, pdu->transport_data, static_cast<size_t>(last_peer.size)) == 0;
}

void remember_peer(const netsnmp_transport *transport, const netsnmp_pdu *pdu, const char *text) {
  last_peer.transport = nullptr;
  if (pdu->transport_data == nullptr || pdu->transport_data_length <= 0 || pdu->transport_data_length > kPeerMax) {
    return;
  }
  last_peer.transport = transport;
  last_peer.size = pdu->transport_data_length;
  memcpy(last_peer.peer, pdu->transport_data, static_cast<size_t>(last_peer.size));
  snprintf(last_peer.text, sizeof last_peer.text, "%s", text);
}

}  // namespace

// Where the request came from tells one manager station's requests from another's.
const char *get_snmp_sessionid(int) {
  static char text[kNameMax];
  text[0] = '\0';
  if (served.pdu == nullptr) {
    return text;
  }
  netsnmp_transport *transport = snmp_sess_transport(snmp_sess_pointer(served.by->session));
  if (transport == nullptr || transport->f_fmtaddr == nullptr) {
    return text;
  }
  if (is_last_peer(transport, served.pdu)) {
    return last_peer.text;
  }
  char *address = transport->f_fmtaddr(transport, served.pdu->transport_data, served.pdu->transport_data_length);
  if (address == nullptr) {
    return text;
  }
  snprintf(text, sizeof text, "%s", address);
  free(address);
  remember_peer(transport, served.pdu, text);
  return text;
}
