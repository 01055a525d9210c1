// Whole SNMP datagrams into an agent with the module, over a faked platform: what net-snmp's decoder, its access
// control and its grouping of varbinds let through to the find functions and write methods. The agent is in this
// process.
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

#include "fuzz_input.h"
#include "fuzz_world.h"

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

  netsnmp_transport *transport = netsnmp_transport_open_server("snmp", "udp:127.0.0.1:0");
  FUZZ_EXPECT(transport != nullptr && netsnmp_register_agent_nsap(transport) >= 0);
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  FUZZ_EXPECT(getsockname(transport->sock, reinterpret_cast<sockaddr *>(&address), &size) == 0);
  const int client = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  FUZZ_EXPECT(connect(client, reinterpret_cast<const sockaddr *>(&address), size) == 0);
  return {transport->sock, client};
}

// One datagram, served to its end. What is answered is read and dropped.
void serve(const agent &a, const uint8_t *data, size_t size) {
  if (send(a.client, data, size, 0) != static_cast<ssize_t>(size)) {
    return;
  }
  fd_set ready;
  FD_ZERO(&ready);
  FD_SET(a.socket, &ready);
  snmp_read(&ready);
  netsnmp_check_outstanding_agent_requests();
  uint8_t answer[2048];
  while (recv(a.client, answer, sizeof answer, 0) >= 0) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const agent the_agent = start();
  make_world();
  serve(the_agent, data, std::min(size, kDatagramMax));
  return 0;
}
