// Loading and unloading the module.
#include <stdio.h>

#include "platform/agent.h"
#include "requests.h"
#include "vsan_mib.h"
#include "vsan_table_write/row_lists.h"

using namespace vsan_mib;

namespace {

enum { kListCreated = 2 };

// The agent registers every row as a subtree of its own, so that unregistering the root alone removes nothing: a row
// left behind would be called after the library is gone.
void unregister_objects() {
  unregister_mib(vsan_mib_variables_oid, kVsanMibRootLen);
  for (const struct variable7 &row : vsan_mib_variables) {
    oid name[kVsanMibRootLen + 7];
    memcpy(name, vsan_mib_variables_oid, sizeof vsan_mib_variables_oid);
    memcpy(name + kVsanMibRootLen, row.name, row.namelen * sizeof(oid));
    unregister_mib(name, static_cast<size_t>(kVsanMibRootLen) + row.namelen);
  }
}

// The two messages that net-snmp's own registration macro would print, with this module's path.
void debug_registration_failure(int line) {
  if (!snmp_get_do_debugging()) {
    return;
  }
  debugmsgtoken("trace", "%s(): %s, %d:\n", "init_vsan_mib", "feature/vsan_manager/mib/vsan_mib", line);
  debugmsg("trace", "%s(): %s, %d:\n", "init_vsan_mib", "feature/vsan_manager/mib/vsan_mib", line);
  debugmsgtoken("register_mib", "%s registration failed\n", "vsan_mib");
  debugmsg("register_mib", "%s registration failed\n", "vsan_mib");
}

bool create_list(indxobj_t *list) {
  return indxobj_create(list, 0, 1, vsanEntry_comp, 1) == kListCreated;
}

}  // namespace

void init_vsan_mib(void) {
  printf("DEBUG : ENTER %s \n", "init_vsan_mib");
  // The agent takes rows of any width as `struct variable`; it reads no more of them than the width says.
  const int registered =
      register_mib("vsan_mib", reinterpret_cast<const struct variable *>(vsan_mib_variables), sizeof(struct variable7),
                   kVsanMibObjects, vsan_mib_variables_oid, kVsanMibRootLen);
  if (registered != MIB_REGISTERED_OK) {
    debug_registration_failure(__LINE__);
  }

  register_for_notification(kNotifyVsanChange, handle_notifications);
  register_for_notification(kNotifyPortMembership, handle_port_memb_change_notifications);

  if (!create_list(&vsanEntry_undo_list) || !create_list(&vsanEntry_list)) {
    unregister_objects();
    return;
  }
  printf("DEBUG : EXIT %s \n", "init_vsan_mib");
}

void deinit_vsan_mib(void) {
  printf("DEBUG : ENTER %s \n", "deinit_vsan_mib");
  unregister_objects();
  drop_all_rows_of_columns();
  indxobj_destroy(&vsanEntry_list);
  indxobj_destroy(&vsanEntry_undo_list);
  unregister_for_notification(kNotifyVsanChange);
  unregister_for_notification(kNotifyPortMembership);
  printf("DEBUG : EXIT %s \n", "deinit_vsan_mib");
}
