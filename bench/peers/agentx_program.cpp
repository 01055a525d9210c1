// The same table in a process of its own, an AgentX subagent: SOCKET of its master, and how many rows.
// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
// clang-format on

#include <signal.h>
#include <stdio.h>

#include "bench_rows.h"
#include "tdata_table.h"

namespace {

volatile sig_atomic_t ended = 0;

void end(int) {
  ended = 1;
}

}  // namespace

int main(int argc, char **argv) {
  const uint32_t vsans = argc == 3 ? bench::rows_wanted(argv[2]) : 0;
  if (vsans == 0) {
    fprintf(stderr, "usage: bench_agentx SOCKET ROWS\n");
    return 2;
  }
  signal(SIGTERM, end);
  snmp_enable_stderrlog();
  netsnmp_ds_set_boolean(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_ROLE, 1);
  netsnmp_ds_set_string(NETSNMP_DS_APPLICATION_ID, NETSNMP_DS_AGENT_X_SOCKET, argv[1]);
  init_agent("bench_agentx");
  if (!bench::register_tdata_table(vsans)) {
    fprintf(stderr, "bench_agentx: the table is not registered\n");
    return 1;
  }
  init_snmp("bench_agentx");
  while (ended == 0) {
    agent_check_and_process(1);
  }
  snmp_shutdown("bench_agentx");
  return 0;
}
