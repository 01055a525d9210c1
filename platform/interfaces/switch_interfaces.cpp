// Loading and unloading: `dlmod switch_interfaces /path/libswitchinterfaces.so`.
//
// Which context the objects are for stands in the configuration, perhaps below the dlmod line, so that they are
// registered when all of it was read; at once when the agent's module table loads this library.
#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <string>
#include <vector>

#include "interface_scalars.h"
#include "interface_tables.h"
#include "link_watch.h"
#include "switchplatform/served_object.h"

namespace {

struct served_row {
  const char *name;
  oid root[10];
  size_t length;
  Netsnmp_Node_Handler *answer;
  unsigned columns;  // the highest; 0: a scalar
  int priority;      // lower goes first, where the agent serves the object too
};

// The agent serves sysName, and goes on to serve its neighbours: ours stands in front of it. Rows of two sorts of
// interfaces in one table would be nonsense, so that the others are never registered beside the agent's.
constexpr int kInFront = 1;
constexpr served_row kObjects[] = {
    {"switchIfNumber", {1, 3, 6, 1, 2, 1, 2, 1}, 8, answer_if_number, 0, DEFAULT_MIB_PRIORITY},
    {"switchIfTable", {1, 3, 6, 1, 2, 1, 2, 2}, 8, answer_if_table, 22, DEFAULT_MIB_PRIORITY},
    {"switchIfXTable", {1, 3, 6, 1, 2, 1, 31, 1, 1}, 9, answer_if_x_table, 19, DEFAULT_MIB_PRIORITY},
    {"switchIfTableLastChange", {1, 3, 6, 1, 2, 1, 31, 1, 5}, 9, answer_if_table_last_change, 0, DEFAULT_MIB_PRIORITY},
    {"switchSysName", {1, 3, 6, 1, 2, 1, 1, 5}, 8, answer_sys_name, 0, kInFront},
};
constexpr size_t kObjectCount = sizeof kObjects / sizeof kObjects[0];

struct registered_row {
  netsnmp_handler_registration *object;    // null: not registered
  netsnmp_table_registration_info *table;  // ours while the object is registered; null for a scalar
};
registered_row registered[kObjectCount];
bool loaded;
unsigned alarm_number;

// Who serves the object, or a part of it, in the context already; null: nobody.
const char *who_serves(const served_row &object, const char *context) {
  for (netsnmp_subtree *tree = netsnmp_subtree_find_first(context); tree != nullptr; tree = tree->next) {
    if (tree->reginfo != nullptr && tree->namelen >= object.length &&
        snmp_oid_compare(tree->name_a, object.length, object.root, object.length) == 0) {
      return tree->reginfo->handlerName;
    }
  }
  return nullptr;
}

netsnmp_table_registration_info *table_of(const served_row &object) {
  auto *table = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
  if (table != nullptr) {
    netsnmp_table_helper_add_indexes(table, ASN_INTEGER, 0);
    table->min_column = 1;
    table->max_column = object.columns;
  }
  return table;
}

// The agent frees the registration with its last subtree, and goes on to use the name and context that it was given:
// they are copies.
void unregister(registered_row &row) {
  if (const netsnmp_handler_registration *object = row.object; object != nullptr) {
    std::vector<oid> name(object->rootoid, object->rootoid + object->rootoid_len);
    const std::string context = object->contextName != nullptr ? object->contextName : "";
    unregister_mib_context(name.data(), name.size(), object->priority, object->range_subid, object->range_ubound,
                           context.c_str());
  }
  if (row.table != nullptr) {
    netsnmp_table_registration_info_free(row.table);
  }
  row = {};
}

// Returns false when the object cannot be registered; the row is to be unregistered all the same.
bool register_object(const served_row &object, const char *context, registered_row &row) {
  row.table = object.columns > 0 ? table_of(object) : nullptr;
  if (object.columns > 0 && row.table == nullptr) {
    return false;
  }
  netsnmp_handler_registration *made =
      netsnmp_create_handler_registration(object.name, object.answer, object.root, object.length, HANDLER_CAN_RONLY);
  if (made == nullptr) {
    return false;
  }
  made->priority = object.priority;
  made->contextName = context[0] != '\0' ? strdup(context) : nullptr;
  // Either frees what it cannot register.
  const int status =
      row.table != nullptr ? netsnmp_register_table(made, row.table) : netsnmp_register_read_only_scalar(made);
  row.object = status == MIB_REGISTERED_OK ? made : nullptr;
  return row.object != nullptr && switch_agent_serve(made) == 0;
}

void unregister_objects() {
  for (registered_row &each : registered) {
    unregister(each);
  }
}

// Whether the agent leaves the objects to us. If not, the log is told what to do.
bool are_free(const char *context) {
  for (const served_row &object : kObjects) {
    const char *who = object.priority == kInFront ? nullptr : who_serves(object, context);
    if (who == nullptr) {
      continue;
    }
    snmp_log(
        LOG_ERR,
        "switch_interfaces: the switch's interfaces are not served: the agent serves IF-MIB itself (%s). Start the "
        "agent with \"-I -ifTable,ifXTable\", or give the switch's interfaces a context of their own: "
        "\"switchInterfacesContext NAME\"\n",
        who);
    return false;
  }
  return true;
}

void register_objects() {
  const char *context = switch_agent_interfaces_context();
  if (registered[0].object != nullptr || !are_free(context)) {
    return;
  }
  for (size_t i = 0; i < kObjectCount; ++i) {
    if (!register_object(kObjects[i], context, registered[i])) {
      snmp_log(LOG_ERR, "switch_interfaces: %s cannot be registered: the switch's interfaces are not served\n",
               kObjects[i].name);
      return unregister_objects();
    }
  }
  link_watch_start();
}

void on_alarm(unsigned, void *) {
  alarm_number = 0;
  register_objects();
}

int on_configuration_read(int, int, void *, void *) {
  if (loaded && alarm_number != 0) {
    snmp_alarm_unregister(alarm_number);
    on_alarm(0, nullptr);
  }
  return 0;
}

}  // namespace

extern "C" void init_switch_interfaces() {
  if (loaded) {
    return;
  }
  loaded = true;
  snmp_register_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG, on_configuration_read, nullptr);
  alarm_number = snmp_alarm_register(0, 0, on_alarm, nullptr);
}

extern "C" void deinit_switch_interfaces() {
  if (!loaded) {
    return;
  }
  loaded = false;
  snmp_unregister_callback(SNMP_CALLBACK_LIBRARY, SNMP_CALLBACK_POST_READ_CONFIG, on_configuration_read, nullptr, 0);
  if (alarm_number != 0) {
    snmp_alarm_unregister(alarm_number);
    alarm_number = 0;
  }
  link_watch_stop();
  unregister_objects();
}
