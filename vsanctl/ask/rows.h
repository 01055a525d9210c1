// The managers' records as vsanctl handles them, in host order, and how they are read and written.
#ifndef VSANCTL_ASK_ROWS_H
#define VSANCTL_ASK_ROWS_H

#include <stdint.h>

#include <string>
#include <vector>

#include "vsan_records.h"

// Reads VSAN `id`. Returns the manager's status.
int read_vsan(uint32_t id, vsanEntry &row);

// Every VSAN, in order.
std::vector<vsanEntry> read_vsans();

// The name, which may fill its field.
std::string vsan_name(const vsanEntry &row);

// Sends the row. A row that was read carries its copy along, so that only what was changed in it is written. Returns
// the manager's status.
int write_vsan(const vsanEntry &row, int msg_type);

struct shown_interface {
  uint32_t index;
  std::string name;
  bool up;
  uint32_t vsan;
};

// Every interface, in order of index.
std::vector<shown_interface> read_interfaces();

// The interface of that name or index. Ends the program when there is none.
shown_interface find_interface_row(const std::string &name_or_index);

// A timer of a VSAN, or of the switch when `vsan` is 0, in milliseconds. `msg_type` is kMsgGet or kMsgKdxGet. Returns
// the manager's status.
int read_timer(uint32_t vsan, uint32_t key, int msg_type, uint32_t &value);

#endif
