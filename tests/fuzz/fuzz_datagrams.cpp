// Whole SNMP datagrams into an agent with the module: what net-snmp's decoder, its access control and its grouping of
// varbinds let through to the find functions and write methods. The agent is in this process, and real. Faked are the
// managers, which refuse to change one VSAN, lists, status texts and history behind the module. The agent extension is
// not there: nobody has a role, and PDUs are not counted, but for a number of the fake's for each datagram. Expected of
// each is that no row stays in the module's lists, unless the agent undid a SET, and that what is answered is SNMP.
// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <net-snmp/agent/mib_modules.h>
#include <net-snmp/agent/snmp_vars.h>
// clang-format on

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <optional>

#include "fuzz_input.h"
#include "fuzz_world.h"
#include "requests.h"
#include "statuses.h"

namespace {

constexpr size_t kDatagramMax = 65507;

struct agent {
  int socket;  // of the agent
  int client;  // connected to it
};

// Lines of the agent's configuration. The engine is that of the seeds.
constexpr const char *kLines[] = {
    "exactEngineID 0x80001f880466757a7a",
    "rwcommunity private",
    "rocommunity public",
    "createUser operator SHA-256 operator-auth-key AES operator-priv-key",
    "rwuser operator noauth",
};

// Whether the agent called an object of this datagram to undo a SET.
bool is_undone;

int note_undo(netsnmp_mib_handler *handler, netsnmp_handler_registration *registration,
              netsnmp_agent_request_info *info, netsnmp_request_info *requests) {
  is_undone = is_undone || info->mode == MODE_SET_UNDO;
  return netsnmp_call_next_handler(handler, registration, info, requests);
}

// Before every object of the module, as the agent extension does it.
void watch_objects() {
  size_t watched = 0;
  for (netsnmp_subtree *tree = netsnmp_subtree_find_first(""); tree != nullptr; tree = tree->next) {
    const bool is_ours = tree->namelen > kVsanMibRootLen &&
                         snmp_oid_compare(tree->name_a, kVsanMibRootLen, vsan_mib_variables_oid, kVsanMibRootLen) == 0;
    if (is_ours && tree->reginfo != nullptr && netsnmp_find_handler_by_name(tree->reginfo, "undo") == nullptr) {
      FUZZ_EXPECT(netsnmp_inject_handler(tree->reginfo, netsnmp_create_handler("undo", note_undo)) == SNMPERR_SUCCESS);
      ++watched;
    }
  }
  FUZZ_EXPECT(watched == kVsanMibObjects);
}

// Everything of the agent's own that a datagram meets on its way, and nothing of the host's files.
agent start() {
  setenv("SNMPCONFPATH", "/nonexistent", 1);
  setenv("SNMP_PERSISTENT_DIR", "/nonexistent", 1);
  setenv("MIBS", "", 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_APP_DONT_LOG, 1);
  snmp_disable_log();
  init_agent("fuzz");
  init_mib_modules();
  fake::reset();
  init_vsan_mib();
  for (const char *line : kLines) {
    std::string text = line;
    netsnmp_config_remember(text.data());
  }
  init_snmp("fuzz");
  watch_objects();

  netsnmp_transport *transport = netsnmp_transport_open_server("snmp", "udp:127.0.0.1:0");
  FUZZ_EXPECT(transport != nullptr && netsnmp_register_agent_nsap(transport) >= 0);
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  FUZZ_EXPECT(getsockname(transport->sock, reinterpret_cast<sockaddr *>(&address), &size) == 0);
  const int client = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  FUZZ_EXPECT(connect(client, reinterpret_cast<const sockaddr *>(&address), size) == 0);
  return {transport->sock, client};
}

// The header of a version 3 message; what is left is its data. Null when it is no such header.
u_char *after_v3_header(u_char *at, size_t *left, bool *is_encrypted) {
  u_char type;
  size_t inner = *left;
  u_char *const global = asn_parse_sequence(at, &inner, &type, ASN_SEQUENCE | ASN_CONSTRUCTOR, "header");
  if (global == nullptr) {
    return nullptr;
  }
  long number;
  u_char flags[1];
  size_t flags_size = sizeof flags;
  u_char *in = asn_parse_int(global, &inner, &type, &number, sizeof number);
  in = in == nullptr ? nullptr : asn_parse_int(in, &inner, &type, &number, sizeof number);
  in = in == nullptr ? nullptr : asn_parse_string(in, &inner, &type, flags, &flags_size);
  in = in == nullptr ? nullptr : asn_parse_int(in, &inner, &type, &number, sizeof number);
  if (in == nullptr || flags_size != 1 || inner != 0 || number != SNMP_SEC_MODEL_USM) {
    return nullptr;
  }
  *is_encrypted = (flags[0] & SNMP_MSG_FLAG_PRIV_BIT) != 0;
  *left -= static_cast<size_t>(in - at);
  // The security parameters.
  static u_char parameters[kDatagramMax];
  size_t parameters_size = sizeof parameters;
  return asn_parse_string(in, left, &type, parameters, &parameters_size);
}

// Behind the engine and the name of a version 3 message's context.
u_char *after_context(u_char *at, size_t *left) {
  u_char type;
  static u_char text[kDatagramMax];
  at = asn_parse_sequence(at, left, &type, ASN_SEQUENCE | ASN_CONSTRUCTOR, "scoped PDU");
  for (int i = 0; i < 2 && at != nullptr; ++i) {
    size_t size = sizeof text;
    at = asn_parse_string(at, left, &type, text, &size);
  }
  return at;
}

// Where the PDU of a message starts, behind its header; `left` octets are left. Null when the header is none.
u_char *pdu_in(u_char *message, size_t *left, netsnmp_pdu *pdu, bool *is_encrypted) {
  u_char type;
  u_char *at = asn_parse_sequence(message, left, &type, ASN_SEQUENCE | ASN_CONSTRUCTOR, "message");
  at = at == nullptr ? nullptr : asn_parse_int(at, left, &type, &pdu->version, sizeof pdu->version);
  if (at == nullptr) {
    return nullptr;
  }
  if (pdu->version != SNMP_VERSION_3) {
    static u_char community[kDatagramMax];
    size_t size = sizeof community;
    return asn_parse_string(at, left, &type, community, &size);
  }
  at = after_v3_header(at, left, is_encrypted);
  return at == nullptr || *is_encrypted ? at : after_context(at, left);
}

void expect_answer(u_char *message, size_t size) {
  netsnmp_pdu *pdu = snmp_pdu_create(0);
  bool is_encrypted = false;
  u_char *const at = pdu_in(message, &size, pdu, &is_encrypted);
  FUZZ_EXPECT(at != nullptr);
  if (!is_encrypted) {
    FUZZ_EXPECT(snmp_pdu_parse(pdu, at, &size) == 0);
    FUZZ_EXPECT(pdu->command == SNMP_MSG_RESPONSE || pdu->command == SNMP_MSG_REPORT);
  }
  snmp_free_pdu(pdu);
}

// One datagram, served to its end. Returns how many answers came.
int serve(const agent &a, const uint8_t *data, size_t size) {
  if (send(a.client, data, size, 0) != static_cast<ssize_t>(size)) {
    return 0;
  }
  fd_set ready;
  FD_ZERO(&ready);
  FD_SET(a.socket, &ready);
  snmp_read(&ready);
  netsnmp_check_outstanding_agent_requests();
  static u_char answer[kDatagramMax];
  int answers = 0;
  for (ssize_t got; (got = recv(a.client, answer, sizeof answer, 0)) >= 0; ++answers) {
    expect_answer(answer, static_cast<size_t>(got));
  }
  return answers;
}

// The agent undoes a SET only when a manager refuses it: this one lets no row of one VSAN be changed.
std::optional<fake::reply> refuse_a_vsan(const fake::exchange &e) {
  constexpr uint32_t kRefused = 4093;
  const bool is_refused =
      e.opcode == kOpVsanRow && e.msg_type == kMsgSet && fake::row_of(e.request).vsanIndex == kRefused;
  return is_refused ? std::optional(fake::reply{kStatusNoVsan, 0, {}, {}}) : std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const agent the_agent = start();
  make_world();
  fake::the().overrule = refuse_a_vsan;
  is_undone = false;
  FUZZ_EXPECT(serve(the_agent, data, std::min(size, kDatagramMax)) <= 1);
  if (!is_undone) {
    FUZZ_EXPECT(fake::listed(vsanEntry_list) == 0);
    FUZZ_EXPECT(fake::listed(vsanEntry_undo_list) == 0);
  }
  return 0;
}
