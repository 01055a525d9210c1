// OIDs and varbinds as tests write, compare and print them. The agents and clients of the suites speak them all.
#ifndef TESTS_SUPPORT_VARBIND_H
#define TESTS_SUPPORT_VARBIND_H

#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

struct variable_list;  // the library's own

namespace mib {

using name_t = std::vector<unsigned long>;

// The OID `suffix` under the module's root.
name_t root(std::initializer_list<unsigned long> suffix = {});
// ".1.3.6…"
std::string text(const name_t &name);
// The order of OIDs. A vector's own `<` compares octets of the wrong count on big-endian hosts with
// some C++ libraries.
bool before(const name_t &a, const name_t &b);
// Whether `prefix` is the whole of `name` or its beginning.
bool is_under(const name_t &name, const name_t &prefix);

struct varbind {
  name_t name;
  int type = 5;        // an ASN type or exception; 5 is NULL
  long integer = 0;    // INTEGER, Gauge32, TimeTicks, Counter32
  std::string octets;  // the octets of every other type

  bool operator==(const varbind &other) const = default;
};
void PrintTo(const varbind &v, std::ostream *out);

varbind integer(const name_t &name, long value);
varbind gauge(const name_t &name, unsigned long value);
varbind octets(const name_t &name, const std::string &value);

// A varbind of net-snmp's library.
varbind from_library(const variable_list &v);

}  // namespace mib

#endif
