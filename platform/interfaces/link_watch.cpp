#include "link_watch.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <map>

#include "if_mib_values.h"
#include "interface_reads.h"
#include "platform/agent.h"
#include "switchplatform/published_change.h"
#include "vsan_values.h"

namespace {

constexpr int kLookTimeout = 1;  // seconds: nobody waits for a look, and a hung switch must not hold up the agent
constexpr unsigned kLookEverySeconds = 1;
// A look that asks whatever the page says: should the page ever be another switch's, traps come late and not never.
constexpr unsigned kLooksBetweenQuestions = 60;

struct link {
  bool up;
  bool told_up;  // what the last trap told of it
  uint32_t since;
  uint64_t looked;  // the number of the look that saw it last
};

// They outlive a reload of the configuration.
std::map<uint32_t, link> links;
bool looked_once;
uint64_t looks;
uint64_t change_seen;
bool change_known;
uint32_t table_since;

unsigned alarm_number;

uint32_t now() {
  return static_cast<uint32_t>(netsnmp_get_agent_uptime());
}

link &note(const switch_interface &interface) {
  const bool up = interface.up != 0;
  const auto [at, is_new] = links.try_emplace(interface.index, link{up, up && !looked_once, 0, 0});
  link &noted = at->second;
  if (is_new && looked_once) {
    noted.since = table_since = now();
  }
  if (noted.up != up) {
    noted.up = up;
    noted.since = now();
  }
  return noted;
}

netsnmp_variable_list *add_status(netsnmp_variable_list *list, uint32_t column, uint32_t index, long value) {
  const oid name[] = {IF_TABLE_ENTRY, column, index};
  return build_varbind(list, &value, ASN_INTEGER, sizeof value, name, OID_LENGTH(name));
}

// The three varbinds that IF-MIB wants, behind the trap's name.
void send_trap(uint32_t index, bool up) {
  static constexpr oid kTrapOid[] = {1, 3, 6, 1, 6, 3, 1, 1, 4, 1, 0};
  const oid trap[] = {1, 3, 6, 1, 6, 3, 1, 1, 5, up ? 4UL : 3UL};
  netsnmp_variable_list *list =
      build_varbind(nullptr, trap, ASN_OBJECT_ID, sizeof trap, kTrapOid, OID_LENGTH(kTrapOid));
  const long status = up ? kIfUp : kIfDown;
  const bool whole = list != nullptr && add_status(list, kIfIndex, index, static_cast<long>(index)) != nullptr &&
                     add_status(list, kIfAdminStatus, index, status) != nullptr &&
                     add_status(list, kIfOperStatus, index, status) != nullptr;
  if (whole) {
    send_v2trap(list);
  } else {
    snmp_log(LOG_ERR, "switch_interfaces: a trap is lost: no memory\n");
  }
  snmp_free_varbind(list);
}

void tell(uint32_t index, link &changed) {
  if (changed.told_up != changed.up) {
    changed.told_up = changed.up;
    send_trap(index, changed.up);
  }
}

// Notes every interface. Returns false when the port manager did not answer for all of them.
bool note_all() {
  switch_interface interface = {};
  for (uint32_t read = 0; read <= kInterfacesMax; ++read) {
    switch (read_interface_after(interface.index, &interface, kLookTimeout)) {
      case interface_read::absent:
        return true;
      case interface_read::no_answer:
        return false;
      case interface_read::found:
        note(interface).looked = looks;
    }
  }
  return false;
}

void forget_those_gone() {
  for (auto at = links.begin(); at != links.end();) {
    if (at->second.looked == looks) {
      ++at;
      continue;
    }
    at->second.up = false;
    tell(at->first, at->second);
    table_since = now();
    at = links.erase(at);
  }
}

void look() {
  uint64_t change = 0;
  const bool known = platform_published_change(&change) == 0;  // first: what changes meanwhile is for the next look
  ++looks;
  if (!note_all()) {
    return;
  }
  forget_those_gone();
  for (auto &[index, each] : links) {
    tell(index, each);
  }
  looked_once = true;
  change_known = known;
  change_seen = change;
}

bool may_have_changed() {
  uint64_t change = 0;
  return !looked_once || !change_known || platform_published_change(&change) != 0 || change != change_seen;
}

void on_alarm(unsigned, void *) {
  static unsigned unasked;
  if (may_have_changed() || ++unasked >= kLooksBetweenQuestions) {
    unasked = 0;
    look();
  }
}

}  // namespace

void link_watch_start() {
  if (alarm_number == 0) {
    alarm_number = snmp_alarm_register(kLookEverySeconds, SA_REPEAT, on_alarm, nullptr);
  }
}

void link_watch_stop() {
  if (alarm_number != 0) {
    snmp_alarm_unregister(alarm_number);
  }
  alarm_number = 0;
}

void link_watch_look() {
  if (may_have_changed()) {
    look();
  }
}

void link_note(const switch_interface &interface) {
  note(interface);
}

uint32_t link_since(const switch_interface &interface) {
  return note(interface).since;
}

uint32_t link_table_since() {
  return table_since;
}
