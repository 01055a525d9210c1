// Loading and unloading: `dlmod switch_agent /path/libswitchagent.so`.
//
// The library stays mapped when the agent unloads it, as it does before it loads it again at every SIGHUP. What
// unloading leaves behind is the handler in front of the objects, which is closed then.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <errno.h>
#include <limits.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <stdio.h>
#include <string.h>

#include <string>

#include "config_tokens.h"
#include "interfaces_context.h"
#include "notification_subscription.h"
#include "page_report.h"
#include "roles.h"
#include "roles_report.h"
#include "served_exchanges.h"
#include "served_pdu.h"
#include "statuses.h"
#include "switchplatform/run_dir.h"

namespace {

constexpr char kDefaultRunDir[] = "/run/switchd";
constexpr char kDefaultOwnPage[] = "switch_agent.page";  // in the agent's persistent directory

bool loaded;
std::string own_page;
bool read_before;  // what the configuration said when it was read last is known, and still holds

void on_run_dir(const char *token, char *line) {
  if (platform_set_run_dir(line) == 0) {
    return;
  }
  char text[256];
  snprintf(text, sizeof text, "%s %.128s: %s; the directory is %s", token, line, strerror(errno), platform_run_dir());
  config_complain(token, line, text);
}

// A relative path would be one of wherever the agent was started.
void on_own_page(const char *token, char *line) {
  if (line[0] == '/' && strlen(line) < PATH_MAX) {
    own_page = line;
    return;
  }
  char text[256];
  snprintf(text, sizeof text, "%s %.128s: an absolute path is wanted; the file is %.64s", token, line,
           own_page.c_str());
  config_complain(token, line, text);
}

constexpr config_token kTokens[] = {
    {"switchInterfacesContext", interfaces_context_read, "NAME"},
    {"switchOwnPage", on_own_page, "PATH"},
    {"switchRunDir", on_run_dir, "PATH"},
    {"vsanRole", roles_read_vsans, "GROUP LIST (such as 10,20,100-199)"},
    {"vsanRoleInterfaces", roles_read_interfaces, "GROUP LIST"},
    {"vsanRoleSwitch", roles_read_switch, "GROUP none|read|write"},
};
constexpr size_t kTokenCount = sizeof kTokens / sizeof kTokens[0];

int on_configuration_read(int, int, void *, void *) {
  read_before = false;
  return 0;
}

// Reads the configuration ahead, unless what was read before still holds: whoever unloads and loads this library
// through the agent's module table does not have the agent read anything, and the agent may no longer be allowed to.
void read_configuration() {
  if (read_before) {
    return roles_start();
  }
  // Here and not at the unloading: modules that are unloaded after this library still trace into the old directory.
  platform_set_run_dir(kDefaultRunDir);
  own_page = std::string(get_persistent_directory()) + "/" + kDefaultOwnPage;
  interfaces_context_forget();
  roles_forget();
  read_before = config_tokens_read_ahead(kTokens, kTokenCount);
  if (read_before) {
    roles_start();
  } else {
    roles_close(kStatusRolesUnknown);
  }
}

// At mapping, and never taken back: this library stays mapped.
__attribute__((constructor)) void watch_the_configuration() {
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_PRE_READ_CONFIG, on_configuration_read, nullptr);
}

}  // namespace

extern "C" void init_switch_agent() {
  if (loaded) {
    return;
  }
  loaded = true;
  read_configuration();
  config_tokens_register(kTokens, kTokenCount);
  served_pdu_objects();  // those that were there before this library was mapped
  roles_report_later();
  page_report_start(own_page.c_str());
  notification_subscription_start();
}

extern "C" void deinit_switch_agent() {
  if (!loaded) {
    return;
  }
  loaded = false;
  notification_subscription_stop();
  page_report_stop();
  served_exchanges_stop();
  config_tokens_unregister(kTokens, kTokenCount);
  roles_close(kStatusNoExtension);
  roles_report_later();
}
