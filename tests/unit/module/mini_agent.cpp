#include "mini_agent.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>

namespace mini {

struct variable as_variable(const struct variable7 &row) {
  struct variable vp = {};
  vp.magic = row.magic;
  vp.type = static_cast<decltype(vp.type)>(static_cast<char>(row.type));
  vp.acl = row.acl;
  vp.findVar = row.findVar;
  vp.namelen = static_cast<u_char>(kVsanMibRootLen + row.namelen);
  memcpy(vp.name, vsan_mib_variables_oid, sizeof vsan_mib_variables_oid);
  memcpy(vp.name + kVsanMibRootLen, row.name, row.namelen * sizeof(oid));
  return vp;
}

void make_set_lists() {
  for (indxobj_t *list : {&vsanEntry_undo_list, &vsanEntry_list}) {
    if (list->opaque[0] != nullptr) {
      indxobj_destroy(list);
    }
    indxobj_create(list, 0, 1, vsanEntry_comp, 1);
  }
}

namespace {

struct found {
  u_char *value = nullptr;
  size_t length = 0;
  WriteMethod *write_method = nullptr;
  name_t name;
};

name_t name_of(const struct variable &vp) {
  return name_t(vp.name, vp.name + vp.namelen);
}

found find(struct variable &vp, const name_t &name, int exact) {
  fake::the().phase = fake::kNoPhase;
  oid buffer[MAX_OID_LEN] = {};
  std::copy(name.begin(), name.end(), buffer);
  size_t length = name.size();
  found result;
  result.value = vp.findVar(&vp, buffer, &length, exact, &result.length, &result.write_method);
  result.name.assign(buffer, buffer + length);
  return result;
}

varbind value_of(const struct variable &vp, const found &f) {
  varbind v;
  v.name = f.name;
  v.type = static_cast<u_char>(vp.type);
  if (vp.type == ASN_OCTET_STR) {
    v.octets.assign(reinterpret_cast<const char *>(f.value), f.length);
  } else {
    int32_t word = 0;
    if (f.length != sizeof word) {
      abort();  // the agent would read that many octets
    }
    memcpy(&word, f.value, sizeof word);
    v.integer = vp.type == ASN_INTEGER ? word : static_cast<long>(static_cast<uint32_t>(word));
  }
  return v;
}

std::optional<varbind> serve_get(const name_t &name) {
  for (const struct variable7 &row : vsan_mib_variables) {
    struct variable vp = as_variable(row);
    if (!is_under(name, name_of(vp))) {
      continue;
    }
    const found f = find(vp, name, 1);
    if (f.value == nullptr || f.name != name) {
      return {};
    }
    return value_of(vp, f);
  }
  return {};
}

std::optional<varbind> serve_getnext(const name_t &name) {
  for (const struct variable7 &row : vsan_mib_variables) {
    struct variable vp = as_variable(row);
    const name_t start = name_of(vp);
    const bool inside = is_under(name, start);
    if (!inside && before(start, name)) {
      continue;
    }
    const found f = find(vp, inside ? name : start, 0);
    if (f.value != nullptr && before(name, f.name)) {
      return value_of(vp, f);
    }
  }
  return {};
}

// A write in the making: the varbind, its column and what find handed back.
struct pending_write {
  const varbind *v;
  size_t index;
  size_t row;
  found at;
};

fake::bytes host_value(const varbind &v) {
  if (v.type == ASN_OCTET_STR) {
    fake::bytes copy(v.octets.begin(), v.octets.end());
    copy.resize(std::max<size_t>(copy.size(), 40));  // the agent's buffer is never smaller
    return copy;
  }
  const auto *bytes = reinterpret_cast<const uint8_t *>(&v.integer);
  return fake::bytes(bytes, bytes + sizeof v.integer);
}

size_t host_length(const varbind &v) {
  return v.type == ASN_OCTET_STR ? v.octets.size() : sizeof v.integer;
}

// The varbinds of a PDU by the subtree that serves them, in the PDU's order of first mention.
std::vector<pending_write> group_by_column(const std::vector<varbind> &varbinds, set_result *result) {
  std::vector<pending_write> grouped;
  for (size_t i = 0; i < varbinds.size(); ++i) {
    size_t row = 0;
    for (; row < kVsanMibObjects; ++row) {
      if (is_under(varbinds[i].name, name_of(as_variable(vsan_mib_variables[row])))) {
        break;
      }
    }
    if (row == kVsanMibObjects || vsan_mib_variables[row].acl != RWRITE) {
      if (result->status == 0) {
        *result = {SNMP_ERR_NOTWRITABLE, i + 1, RESERVE1};
      }
      continue;
    }
    auto after = std::find_if(grouped.rbegin(), grouped.rend(), [&](const auto &w) { return w.row == row; });
    grouped.insert(after == grouped.rend() ? grouped.end() : after.base(), {&varbinds[i], i + 1, row, {}});
  }
  return grouped;
}

int call(const pending_write &w, int action) {
  fake::bytes value = host_value(*w.v);
  name_t name = w.v->name;
  fake::the().phase = action;
  return w.at.write_method(action, value.data(), static_cast<u_char>(w.v->type), host_length(*w.v), w.at.value,
                           name.data(), name.size());
}

void run_phase(const std::vector<pending_write> &writes, int action, set_result *result) {
  for (const pending_write &w : writes) {
    if (w.at.write_method == nullptr) {
      continue;
    }
    const int status = call(w, action);
    if (status != 0 && result->status == 0) {
      *result = {status, w.index, action};
    }
  }
}

}  // namespace

std::optional<varbind> get(const name_t &name) {
  ++fake::the().pdu;
  return serve_get(name);
}

std::optional<varbind> find_alone(const struct variable7 &row, const name_t &name, int exact) {
  ++fake::the().pdu;
  struct variable vp = as_variable(row);
  const found f = find(vp, name, exact);
  if (f.value == nullptr) {
    return {};
  }
  return value_of(vp, f);
}

std::optional<varbind> getnext(const name_t &name) {
  ++fake::the().pdu;
  return serve_getnext(name);
}

std::vector<std::optional<varbind>> getnext_pdu(const std::vector<name_t> &names) {
  ++fake::the().pdu;
  std::vector<std::optional<varbind>> answers;
  for (const name_t &name : names) {
    answers.push_back(serve_getnext(name));
  }
  return answers;
}

std::vector<std::vector<std::optional<varbind>>> getbulk_pdu(const std::vector<name_t> &names, int repetitions) {
  ++fake::the().pdu;
  std::vector<std::vector<std::optional<varbind>>> rows;
  std::vector<name_t> at = names;
  for (int i = 0; i < repetitions; ++i) {
    std::vector<std::optional<varbind>> row;
    for (name_t &name : at) {
      row.push_back(serve_getnext(name));
      if (row.back()) {
        name = row.back()->name;
      }
    }
    rows.push_back(row);
  }
  return rows;
}

set_result set_pdu(const std::vector<varbind> &varbinds) {
  ++fake::the().pdu;
  set_result result;
  std::vector<pending_write> writes = group_by_column(varbinds, &result);
  if (result.status != 0) {
    return result;
  }

  for (pending_write &w : writes) {
    struct variable vp = as_variable(vsan_mib_variables[w.row]);
    w.at = find(vp, w.v->name, 1);
    if (w.at.value != nullptr && w.at.name != w.v->name) {
      w.at.value = nullptr;
    }
    const int status = w.at.write_method == nullptr ? SNMP_ERR_NOTWRITABLE : call(w, RESERVE1);
    if (status != 0 && result.status == 0) {
      result = {status, w.index, RESERVE1};
    }
  }
  if (result.status == 0) {
    run_phase(writes, RESERVE2, &result);
  }
  if (result.status != 0) {
    set_result ignored = {1, 1, COMMIT};
    run_phase(writes, FREE, &ignored);
    return result;
  }
  run_phase(writes, ACTION, &result);
  set_result ignored = {1, 1, COMMIT};
  run_phase(writes, result.status == 0 ? COMMIT : UNDO, &ignored);
  return result;
}

int phase(WriteMethod *method, int action, const varbind &v, u_char *current) {
  fake::bytes value = host_value(v);
  name_t name = v.name;
  return method(action, value.data(), static_cast<u_char>(v.type), host_length(v), current, name.data(), name.size());
}

int phase_raw(WriteMethod *method, int action, const name_t &name, u_char type, const std::string &value, size_t length,
              u_char *current) {
  fake::bytes buffer(value.begin(), value.end());
  buffer.resize(40, 0);
  name_t copy = name;
  return method(action, buffer.data(), type, length, current, copy.data(), copy.size());
}

std::string word(int32_t value) {
  return std::string(reinterpret_cast<const char *>(&value), sizeof value);
}

}  // namespace mini
