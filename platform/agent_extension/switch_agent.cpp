// Loading and unloading: `dlmod switch_agent /path/libswitchagent.so`, before the modules that need it.
//
// The library stays mapped when the agent unloads it, so that what unloading leaves behind must be nothing: the agent
// loads it again at every SIGHUP.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <errno.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <stdio.h>
#include <string.h>

#include "platform/agent_extension/notification_subscription.h"
#include "platform/agent_extension/roles.h"
#include "platform/agent_extension/served_exchanges.h"
#include "platform/agent_extension/served_pdu.h"
#include "platform/run_dir.h"

namespace {

constexpr char kRunDirToken[] = "switchRunDir";
constexpr char kDefaultRunDir[] = "/run/switchd";

bool loaded;

void on_run_dir(const char *token, char *line) {
  if (platform_set_run_dir(line) == 0) {
    return;
  }
  char text[256];
  snprintf(text, sizeof text, "%s %.128s: %s; the directory is %s", token, line, strerror(errno), platform_run_dir());
  config_perror(text);
}

void keep_run_dir() {}

}  // namespace

extern "C" void init_switch_agent() {
  if (loaded) {
    return;
  }
  loaded = true;
  // Here and not at the unloading: modules that are unloaded after this library still trace into the old directory.
  platform_set_run_dir(kDefaultRunDir);
  snmpd_register_config_handler(kRunDirToken, on_run_dir, keep_run_dir, "PATH");
  roles_register_tokens();
  served_pdu_watch();
  notification_subscription_start();
}

extern "C" void deinit_switch_agent() {
  if (!loaded) {
    return;
  }
  loaded = false;
  notification_subscription_stop();
  served_exchanges_stop();
  served_pdu_unwatch();
  roles_unregister_tokens();
  snmpd_unregister_config_handler(kRunDirToken);
}
