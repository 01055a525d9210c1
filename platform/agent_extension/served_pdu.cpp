#include "platform/agent_extension/served_pdu.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/agent_callbacks.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/library/snmpTCPDomain.h>
#include <net-snmp/library/snmpTCPIPv6Domain.h>
#include <net-snmp/library/snmpUDPDomain.h>
#include <net-snmp/library/snmpUDPIPv6Domain.h>
#include <net-snmp/library/snmpUnixDomain.h>
#include <stdio.h>
#include <string.h>

#include "platform/agent.h"
#include "platform/agent_extension/named_rows.h"
#include "platform/agent_extension/served_exchanges.h"

namespace {

constexpr char kHandlerName[] = "switch_agent";
constexpr oid kRoot[] = {SWITCH_ROOT};
constexpr size_t kNameMax = 256;

const netsnmp_pdu *served;
const netsnmp_agent_session *served_by;

// Old-API objects are not told which PDU they are asked for; this handler in front of them knows.
int keep_pdu(netsnmp_mib_handler *handler, netsnmp_handler_registration *registration, netsnmp_agent_request_info *info,
             netsnmp_request_info *requests) {
  const netsnmp_agent_session *outer = served_by;
  served_by = info->asp;
  served = info->asp == nullptr ? nullptr : info->asp->pdu;
  const std::vector<named_row> rows = named_rows_remember(info, requests);
  served_exchanges_begin(info);
  const int result = netsnmp_call_next_handler(handler, registration, info, requests);
  named_rows_restore(registration, info, rows);
  served_exchanges_end(info);
  served_by = outer;
  served = outer == nullptr ? nullptr : outer->pdu;
  return result;
}

void inject(netsnmp_handler_registration *registration) {
  if (registration == nullptr || registration->handler == nullptr) {
    return;
  }
  if (netsnmp_find_handler_by_name(registration, kHandlerName) != nullptr) {
    return;
  }
  netsnmp_mib_handler *handler = netsnmp_create_handler(kHandlerName, keep_pdu);
  if (handler == nullptr || netsnmp_inject_handler(registration, handler) != SNMPERR_SUCCESS) {
    snmp_log(LOG_ERR, "switch_agent: an object cannot be watched: %s\n", registration->handlerName);
  }
}

void inject_everywhere() {
  constexpr size_t kRootLength = sizeof kRoot / sizeof kRoot[0];
  for (netsnmp_subtree *tree = netsnmp_subtree_find_first(""); tree != nullptr; tree = tree->next) {
    if (snmp_oidtree_compare(tree->name_a, tree->namelen, kRoot, kRootLength) != 0 || tree->namelen < kRootLength) {
      continue;
    }
    for (netsnmp_subtree *child = tree; child != nullptr; child = child->children) {
      inject(child->reginfo);
    }
  }
}

int on_registered(int, int, void *, void *) {
  inject_everywhere();
  return 0;
}

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

}  // namespace

void served_pdu_watch() {
  snmp_register_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID, on_registered, nullptr);
  inject_everywhere();
}

void served_pdu_unwatch() {
  snmp_unregister_callback(SNMP_CALLBACK_APPLICATION, SNMPD_CALLBACK_REGISTER_OID, on_registered, nullptr, 1);
}

bool served_pdu_present() {
  return served != nullptr;
}

const char *served_pdu_group() {
  const char *name = user_name(served);
  if (name == nullptr) {
    return nullptr;
  }
  const vacm_groupEntry *group = vacm_getGroupEntry(served->securityModel, name);
  return group == nullptr ? nullptr : group->groupName;
}

int get_pdu_reqid() {
  return served == nullptr ? 0 : static_cast<int>(served->transid);
}

const char *get_snmp_username(int) {
  static char text[kNameMax];
  const char *name = user_name(served);
  snprintf(text, sizeof text, "%s", name == nullptr ? "" : name);
  return text;
}

// Where the request came from tells one manager station's requests from another's.
const char *get_snmp_sessionid(int) {
  static char text[kNameMax];
  text[0] = '\0';
  if (served == nullptr) {
    return text;
  }
  netsnmp_transport *transport = snmp_sess_transport(snmp_sess_pointer(served_by->session));
  if (transport == nullptr || transport->f_fmtaddr == nullptr) {
    return text;
  }
  char *address = transport->f_fmtaddr(transport, served->transport_data, served->transport_data_length);
  if (address == nullptr) {
    return text;
  }
  snprintf(text, sizeof text, "%s", address);
  free(address);
  return text;
}
