#include "varbind.h"

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
// clang-format on

#include <ctype.h>
#include <stdio.h>

#include <algorithm>
#include <ostream>

namespace mib {
namespace {

// In quotes, with what cannot be printed in hexadecimal.
std::string quoted(const std::string &octets) {
  std::string out = "\"";
  for (const char c : octets) {
    const auto octet = static_cast<unsigned char>(c);
    char hex[5];
    snprintf(hex, sizeof hex, "\\x%02x", octet);
    out += isprint(octet) != 0 ? std::string(1, c) : hex;
  }
  return out + "\"";
}

}  // namespace

name_t root(std::initializer_list<unsigned long> suffix) {
  name_t name = {1, 3, 6, 1, 4, 1, 32473, 9, 282};
  name.insert(name.end(), suffix);
  return name;
}

std::string text(const name_t &name) {
  std::string out;
  for (unsigned long id : name) {
    out += "." + std::to_string(id);
  }
  return out;
}

bool before(const name_t &a, const name_t &b) {
  return snmp_oid_compare(a.data(), a.size(), b.data(), b.size()) < 0;
}

bool is_under(const name_t &name, const name_t &prefix) {
  return name.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), name.begin());
}

void PrintTo(const varbind &v, std::ostream *out) {
  *out << text(v.name) << " type " << v.type << " ";
  if (v.type == ASN_OCTET_STR) {
    *out << quoted(v.octets);
  } else {
    *out << v.integer;
  }
}

varbind integer(const name_t &name, long value) {
  return {name, ASN_INTEGER, value, {}};
}
varbind gauge(const name_t &name, unsigned long value) {
  return {name, ASN_GAUGE, static_cast<long>(value), {}};
}
varbind octets(const name_t &name, const std::string &value) {
  return {name, ASN_OCTET_STR, 0, value};
}

varbind from_library(const variable_list &v) {
  varbind out;
  out.name.assign(v.name, v.name + v.name_length);
  out.type = v.type;
  if (v.type == ASN_OCTET_STR) {
    out.octets.assign(reinterpret_cast<const char *>(v.val.string), v.val_len);
  } else if (v.type == ASN_INTEGER) {
    out.integer = *v.val.integer;
  } else if (v.type == ASN_GAUGE || v.type == ASN_TIMETICKS) {
    out.integer = static_cast<long>(static_cast<unsigned long>(*v.val.integer) & 0xffffffffu);
  }
  return out;
}

}  // namespace mib
