// Loading and unloading: `dlmod switch_agent /path/libswitchagent.so`.
//
// The library stays mapped when the agent unloads it, as it does before it loads it again at every SIGHUP. What
// unloading leaves behind is the handler in front of the objects, which is closed then.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <errno.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <stdio.h>
#include <string.h>

#include "platform/agent_extension/config_tokens.h"
#include "platform/agent_extension/notification_subscription.h"
#include "platform/agent_extension/roles.h"
#include "platform/agent_extension/roles_report.h"
#include "platform/agent_extension/served_pdu.h"
#include "platform/run_dir.h"

namespace {

constexpr char kDefaultRunDir[] = "/run/switchd";

bool loaded;

void on_run_dir(const char *token, char *line) {
  if (platform_set_run_dir(line) == 0) {
    return;
  }
  char text[256];
  snprintf(text, sizeof text, "%s %.128s: %s; the directory is %s", token, line, strerror(errno), platform_run_dir());
  config_complain(token, line, text);
}

void keep_run_dir() {}

constexpr config_token kTokens[] = {
    {"switchRunDir", on_run_dir, keep_run_dir, "PATH"},
    {"vsanRole", roles_read_vsans, roles_forget, "GROUP LIST (such as 10,20,100-199)"},
    {"vsanRoleInterfaces", roles_read_interfaces, roles_forget, "GROUP LIST"},
    {"vsanRoleSwitch", roles_read_switch, roles_forget, "GROUP none|read|write"},
};
constexpr size_t kTokenCount = sizeof kTokens / sizeof kTokens[0];

}  // namespace

extern "C" void init_switch_agent() {
  if (loaded) {
    return;
  }
  loaded = true;
  // Here and not at the unloading: modules that are unloaded after this library still trace into the old directory.
  platform_set_run_dir(kDefaultRunDir);
  roles_start();
  config_tokens_register(kTokens, kTokenCount);
  served_pdu_objects();
  roles_report_later();
  notification_subscription_start();
}

extern "C" void deinit_switch_agent() {
  if (!loaded) {
    return;
  }
  loaded = false;
  notification_subscription_stop();
  config_tokens_unregister(kTokens, kTokenCount);
  roles_stop();
  roles_report_later();
}
