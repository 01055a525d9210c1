#include "interfaces_context.h"

#include <string.h>

#include <net-snmp/net-snmp-config.h>

#include "config_tokens.h"
#include "switchplatform/served_object.h"

namespace {

constexpr size_t kContextMax = 32;  // octets: VACM keeps no more

char context[kContextMax + 1];

}  // namespace

void interfaces_context_read(const char *token, char *line) {
  const size_t length = strcspn(line, " \t");
  const char *after = line + length + strspn(line + length, " \t");
  if (length == 0 || length > kContextMax || *after != '\0') {
    return config_complain(token, line, "switchInterfacesContext: one word of 1 to 32 octets is wanted");
  }
  memcpy(context, line, length);
  context[length] = '\0';
}

void interfaces_context_forget() {
  context[0] = '\0';
}

extern "C" const char *switch_agent_interfaces_context() {
  return context;
}
