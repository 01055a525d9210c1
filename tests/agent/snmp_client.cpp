#include "snmp_client.h"

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
// clang-format on

#include <string.h>
#include <sys/select.h>

#include <chrono>
#include <stdexcept>

#include "lab.h"

namespace snmp {

void init_library() {
  static const bool done = [] {
    setenv("MIBS", "", 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_PERSIST_STATE, 1);
    netsnmp_ds_set_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS, 1);
    snmp_disable_log();
    init_snmp("vsanmib_test");
    return true;
  }();
  static_cast<void>(done);
}

namespace {

void set_keys(netsnmp_session &s, const std::string &name) {
  const std::string auth = name + "-auth-key", priv = name + "-priv-key";
  s.securityAuthProto = const_cast<oid *>(sc_get_auth_oid(NETSNMP_USMAUTH_HMAC192SHA256, &s.securityAuthProtoLen));
  s.securityAuthKeyLen = sizeof s.securityAuthKey;
  s.securityPrivProto = const_cast<oid *>(sc_get_priv_oid(USM_CREATE_USER_PRIV_AES, &s.securityPrivProtoLen));
  s.securityPrivKeyLen = sizeof s.securityPrivKey;
  const auto key = [&](const std::string &phrase, u_char *out, size_t *length) {
    generate_Ku(s.securityAuthProto, static_cast<u_int>(s.securityAuthProtoLen),
                reinterpret_cast<const u_char *>(phrase.data()), phrase.size(), out, length);
  };
  key(auth, s.securityAuthKey, &s.securityAuthKeyLen);
  key(priv, s.securityPrivKey, &s.securityPrivKeyLen);
}

answer answer_of(const netsnmp_pdu &response) {
  answer out = {true, static_cast<int>(response.errstat), response.errindex, {}, false};
  for (const netsnmp_variable_list *v = response.variables; v != nullptr; v = v->next_variable) {
    out.varbinds.push_back(from_library(*v));
  }
  return out;
}

// The PDU that is waited for. One that was given up may be answered later, when its place here is another's.
struct awaited {
  long request_id = 0;
  bool over = true;
  answer out;
};
awaited current;

int on_answer(int operation, netsnmp_session *, int request_id, netsnmp_pdu *response, void *) {
  if (current.over || request_id != current.request_id) {
    return 1;
  }
  current.over = true;
  if (operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE) {
    current.out = answer_of(*response);  // also when it came while being given up
  }
  return 1;
}

// Reads a datagram, awaited for 20 ms at most. Returns whether one came.
bool serve_session(void *session) {
  fd_set ready;
  FD_ZERO(&ready);
  int count = 0, block = 0;
  timeval wait = {0, 20000};
  snmp_sess_select_info(session, &count, &ready, &wait, &block);
  if (select(count, &ready, nullptr, nullptr, &wait) > 0) {
    snmp_sess_read(session, &ready);
    return true;
  }
  snmp_sess_timeout(session);
  return false;
}

answer exchange_until_given_up(client &c, netsnmp_pdu *pdu) {
  current.request_id = pdu->reqid;
  current.out = {};
  current.over = false;
  if (snmp_sess_async_send(c.session, pdu, on_answer, nullptr) == 0) {
    snmp_free_pdu(pdu);
    current.over = true;
  }
  while (!current.over && !current.out.given_up) {
    current.out.given_up = c.gives_up();
    serve_session(c.session);
  }
  current.over = true;
  return std::move(current.out);
}

int on_unawaited(int operation, netsnmp_session *, int, netsnmp_pdu *, void *unawaited) {
  if (operation == NETSNMP_CALLBACK_OP_RECEIVED_MESSAGE) {
    ++*static_cast<size_t *>(unawaited);
  }
  return 1;
}

// Throws std::runtime_error when the PDU cannot be sent.
void send_only(client &c, netsnmp_pdu *pdu) {
  if (snmp_sess_async_send(c.session, pdu, on_unawaited, &c.unawaited) == 0) {
    snmp_free_pdu(pdu);
    throw std::runtime_error("a PDU is not sent");
  }
}

answer exchange(client &c, netsnmp_pdu *pdu) {
  if (c.next_request_id != 0) {
    pdu->reqid = c.next_request_id;
  }
  if (!c.waits) {
    send_only(c, pdu);
    return {};
  }
  if (c.gives_up) {
    return exchange_until_given_up(c, pdu);
  }
  netsnmp_pdu *response = nullptr;
  answer out;
  if (snmp_sess_synch_response(c.session, pdu, &response) == STAT_SUCCESS && response != nullptr) {
    out = answer_of(*response);
  }
  if (response != nullptr) {
    snmp_free_pdu(response);
  }
  return out;
}

netsnmp_pdu *request(int command, const std::vector<name_t> &names) {
  netsnmp_pdu *pdu = snmp_pdu_create(command);
  for (const name_t &name : names) {
    snmp_add_null_var(pdu, name.data(), name.size());
  }
  return pdu;
}

}  // namespace

identity community(const std::string &name, int version) {
  return {version, name, identity::level::noauth};
}
identity user(const std::string &name, identity::level security) {
  return {3, name, security};
}

client::client(const ::lab::lab &l, const identity &who, double timeout_seconds) {
  init_library();
  netsnmp_session s;
  snmp_sess_init(&s);
  std::string peer = ::lab::agent_address(l), name = who.name;
  s.peername = peer.data();
  s.timeout = static_cast<long>(timeout_seconds * 1e6);
  s.retries = 0;
  if (who.version == 3) {
    s.version = SNMP_VERSION_3;
    s.securityName = name.data();
    s.securityNameLen = name.size();
    set_keys(s, who.name);
    s.securityLevel = static_cast<int>(who.security);
  } else {
    s.version = who.version == 1 ? SNMP_VERSION_1 : SNMP_VERSION_2c;
    s.community = reinterpret_cast<u_char *>(name.data());
    s.community_len = name.size();
  }
  session = snmp_sess_open(&s);
  if (session == nullptr) {
    throw std::runtime_error("cannot open an SNMP session to " + peer);
  }
}

client::~client() {
  snmp_sess_close(session);
}

void listen(const std::vector<client *> &clients, double seconds) {
  using clock = std::chrono::steady_clock;
  const auto end = clock::now() + std::chrono::duration<double>(seconds);
  do {
    for (client *c : clients) {
      while (serve_session(c->session) && clock::now() < end) {
      }
    }
  } while (clock::now() < end);
}

answer get(client &c, const std::vector<name_t> &names) {
  return exchange(c, request(SNMP_MSG_GET, names));
}
answer getnext(client &c, const std::vector<name_t> &names) {
  return exchange(c, request(SNMP_MSG_GETNEXT, names));
}

answer getbulk(client &c, const std::vector<name_t> &names, int repetitions) {
  netsnmp_pdu *pdu = request(SNMP_MSG_GETBULK, names);
  pdu->non_repeaters = 0;
  pdu->max_repetitions = repetitions;
  return exchange(c, pdu);
}

answer set(client &c, const std::vector<varbind> &varbinds) {
  netsnmp_pdu *pdu = snmp_pdu_create(SNMP_MSG_SET);
  for (const varbind &v : varbinds) {
    const bool is_number =
        v.type == ASN_INTEGER || v.type == ASN_GAUGE || v.type == ASN_TIMETICKS || v.type == ASN_COUNTER;
    const void *value = is_number ? static_cast<const void *>(&v.integer) : v.octets.data();
    snmp_pdu_add_variable(pdu, v.name.data(), v.name.size(), static_cast<u_char>(v.type), value,
                          is_number ? sizeof v.integer : v.octets.size());
  }
  return exchange(c, pdu);
}

std::vector<varbind> walk(client &c, const name_t &prefix, size_t most) {
  std::vector<varbind> out;
  name_t at = prefix;
  while (out.size() < most) {
    const answer a = getnext(c, {at});
    if (!a.sent_back || a.status != 0 || !is_under(a.varbinds[0].name, prefix) || a.varbinds[0].type >= kNoSuchObject) {
      break;
    }
    out.push_back(a.varbinds[0]);
    at = a.varbinds[0].name;
  }
  return out;
}

std::vector<varbind> bulkwalk(client &c, const name_t &prefix, int repetitions, size_t most) {
  std::vector<varbind> out;
  name_t at = prefix;
  while (out.size() < most) {
    const answer a = getbulk(c, {at}, repetitions);
    if (!a.sent_back || a.status != 0 || a.varbinds.empty()) {
      return out;
    }
    for (const varbind &v : a.varbinds) {
      if (!is_under(v.name, prefix) || v.type >= kNoSuchObject) {
        return out;
      }
      out.push_back(v);
    }
    at = a.varbinds.back().name;
  }
  return out;
}

}  // namespace snmp
