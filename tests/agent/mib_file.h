// The MIB file through net-snmp's parser: what it says of an OID.
#ifndef TESTS_AGENT_MIB_FILE_H
#define TESTS_AGENT_MIB_FILE_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "snmp_client.h"

namespace mib_file {

using namespace mib;

struct object {
  std::string name;
  name_t oid;        // without an index
  int asn_type = 0;  // of a varbind; 0: none, a node or a notification
  bool readable = false;
  bool writable = false;
  bool for_notify_only = false;
  bool is_column = false;
  std::vector<std::string> indexes;  // names, of a column
  std::vector<std::pair<long, long>> ranges;
  std::vector<long> enumeration;
  bool is_bits = false;
  std::vector<std::string> varbinds;  // of a notification
};

// Directories of our own MIB file and of the standard modules, as MIBDIRS has them.
std::string directories();

// Reads the MIB file. Throws std::runtime_error when it, or a module that it imports, is not there.
void load();

// The object that an instance's OID belongs to: the deepest node of the file above it. Empty when it is not one of
// the file's, or of the interface table's.
std::optional<object> find(const name_t &oid);
std::optional<object> find(const std::string &name);

// Every node under the module's root.
std::vector<object> all();

}  // namespace mib_file

#endif
