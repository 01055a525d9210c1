#include "mib_file.h"

// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/library/parse.h>
// clang-format on

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "lab.h"

namespace mib_file {
namespace {

using namespace mib_file;

constexpr const char kOwn[] = LAB_SOURCE_DIR "/mibs";
constexpr const char kStandard[] = LAB_SOURCE_DIR "/tests/agent/npm/node_modules/net-snmp/lib/mibs";

constexpr std::pair<int, int> kTypes[] = {
    {TYPE_INTEGER, ASN_INTEGER},     {TYPE_INTEGER32, ASN_INTEGER}, {TYPE_OCTETSTR, ASN_OCTET_STR},
    {TYPE_BITSTRING, ASN_OCTET_STR}, {TYPE_UNSIGNED32, ASN_GAUGE},  {TYPE_GAUGE, ASN_GAUGE},
    {TYPE_TIMETICKS, ASN_TIMETICKS}, {TYPE_OBJID, ASN_OBJECT_ID},
};

name_t oid_of(const tree *node) {
  name_t out;
  for (; node != nullptr; node = node->parent) {
    out.insert(out.begin(), node->subid);
  }
  return out;
}

object describe(const tree *node) {
  object o;
  o.name = node->label;
  o.oid = oid_of(node);
  for (const auto &[parsed, asn] : kTypes) {
    if (node->type == parsed) {
      o.asn_type = asn;
    }
  }
  const int access = node->access;
  o.writable = access == MIB_ACCESS_READWRITE || access == MIB_ACCESS_CREATE;
  o.readable = o.writable || access == MIB_ACCESS_READONLY;
  o.for_notify_only = access == MIB_ACCESS_NOTIFY;
  o.is_column = node->parent != nullptr && node->parent->indexes != nullptr;
  if (o.is_column) {
    for (const index_list *i = node->parent->indexes; i != nullptr; i = i->next) {
      o.indexes.emplace_back(i->ilabel);
    }
  }
  for (const range_list *r = node->ranges; r != nullptr; r = r->next) {
    o.ranges.emplace_back(r->low, r->high);
  }
  for (const enum_list *e = node->enums; e != nullptr; e = e->next) {
    o.enumeration.push_back(e->value);
  }
  std::ranges::sort(o.enumeration);
  o.is_bits = node->type == TYPE_BITSTRING;
  for (const varbind_list *v = node->varbinds; v != nullptr; v = v->next) {
    o.varbinds.emplace_back(v->vblabel);
  }
  return o;
}

void add_all(const tree *node, std::vector<object> &out) {
  for (; node != nullptr; node = node->next_peer) {
    out.push_back(describe(node));
    add_all(node->child_list, out);
  }
}

const tree *under_root(name_t oid) {
  const tree *node = get_tree(oid.data(), oid.size(), get_tree_head());
  return node != nullptr && node->label != nullptr ? node : nullptr;
}

}  // namespace

std::string directories() {
  return std::string(kOwn) + ":" + kStandard;
}

void load() {
  for (const char *directory : {kOwn, kStandard}) {
    if (!std::filesystem::is_directory(directory)) {
      throw std::runtime_error(std::string(directory) + " is not there: make deps puts it there");
    }
    add_mibdir(directory);
  }
  if (netsnmp_read_module("VSAN-MIB") == nullptr || !find("vsanMIB")) {
    throw std::runtime_error("VSAN-MIB cannot be read");
  }
}

std::optional<object> find(const name_t &oid) {
  const tree *node = under_root(oid);
  if (node == nullptr) {
    return std::nullopt;
  }
  return describe(node);
}

std::optional<object> find(const std::string &name) {
  const tree *node = find_tree_node(name.c_str(), -1);
  if (node == nullptr) {
    return std::nullopt;
  }
  return describe(node);
}

std::vector<object> all() {
  std::vector<object> out;
  const tree *root = find_tree_node("vsanMIB", -1);
  if (root != nullptr) {
    add_all(root->child_list, out);
  }
  return out;
}

}  // namespace mib_file
