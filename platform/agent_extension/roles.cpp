#include "roles.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <ctype.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "config_tokens.h"
#include "statuses.h"
#include "vsan_values.h"

namespace {

// VSAN 0 is none: the module asks for it where a pair is hidden from restricted users.
constexpr size_t kGroupMax = VACM_MAX_STRING;

std::vector<role> roles;
int closed_for_all = kStatusNoExtension;

role *find_role(const char *group) {
  for (role &row : roles) {
    if (row.group == group) {
      return &row;
    }
  }
  return nullptr;
}

void add_vsans(const number_range &range, vsan_set_t *set) {
  for (uint32_t vsan = range.first; vsan <= range.last; ++vsan) {
    set->bits[vsan / 8] = static_cast<uint8_t>(set->bits[vsan / 8] | 1U << vsan % 8);
  }
}

role *role_of(const char *group) {
  role *row = find_role(group);
  if (row != nullptr) {
    return row;
  }
  row = &roles.emplace_back(role{.group = group});
  row->vsans.size = kVsanSetBytes;
  add_vsans({kVsanFirst, kVsanReserved}, &row->vsans);
  return row;
}

void compile_vsans(role *row) {
  bitset_clear(&row->vsans);
  for (const number_range &range : row->vsan_list) {
    add_vsans(range, &row->vsans);
  }
}

// Each reads what follows the group and returns what is wrong with it, or null.
const char *take_vsans(const char *text, role *row) {
  row->has_vsans = true;
  const char *wrong = number_list_read(text, kVsanFirst, kVsanReserved, &row->vsan_list);
  compile_vsans(row);
  return wrong;
}

const char *take_interfaces(const char *text, role *row) {
  row->has_interfaces = true;
  return number_list_read(text, 0, UINT32_MAX, &row->interface_list);
}

const char *take_switch(const char *text, role *row) {
  constexpr struct {
    const char *word;
    switch_right right;
  } kRights[] = {{"none", switch_right::none}, {"read", switch_right::read}, {"write", switch_right::write}};
  for (const auto &each : kRights) {
    if (strcmp(text, each.word) == 0) {
      row->right = std::min(row->right, each.right);
      return nullptr;
    }
  }
  return "after the group comes none, read or write";
}

// VACM cuts a group name that is too long, without a word: the role is for the users that it knows by the rest.
const char *cut_group(char *group) {
  if (strlen(group) <= kGroupMax) {
    return nullptr;
  }
  group[kGroupMax] = '\0';
  return "the group name is longer than 32 characters";
}

// Reads "GROUP REST". A line that cannot be read leaves its group with nothing rather than with everything.
void read_role(const char *token, const char *line, const char *(*take)(const char *, role *)) {
  char group[kGroupMax + 2];  // one character more than a name has shows that it is too long
  const char *rest = copy_nword_const(line, group, sizeof group);
  if (group[0] == '\0') {
    return config_complain(token, line, "a group name is missing");
  }
  std::string text = rest == nullptr ? "" : rest;
  while (!text.empty() && isspace(static_cast<unsigned char>(text.back()))) {
    text.pop_back();
  }
  const char *wrong = cut_group(group);
  role *row = role_of(group);
  if (wrong == nullptr) {
    wrong = take(text.c_str(), row);
  }
  if (wrong == nullptr) {
    return;
  }
  row->closed = true;
  char complaint[256];
  snprintf(complaint, sizeof complaint, "%s %s: %s; the group is closed", token, group, wrong);
  config_complain(token, line, complaint);
}

}  // namespace

void roles_start() {
  closed_for_all = 0;
}

void roles_close(int why) {
  closed_for_all = why;
}

int roles_closed() {
  return closed_for_all;
}

void roles_read_vsans(const char *token, char *line) {
  read_role(token, line, take_vsans);
}

void roles_read_interfaces(const char *token, char *line) {
  read_role(token, line, take_interfaces);
}

void roles_read_switch(const char *token, char *line) {
  read_role(token, line, take_switch);
}

void roles_forget() {
  roles.clear();
}

bool roles_go_by_group() {
  return closed_for_all == 0 && !roles.empty();
}

role_verdict roles_judge(const char *group) {
  if (closed_for_all != 0) {
    return {closed_for_all, nullptr};
  }
  if (roles.empty()) {
    return {0, nullptr};
  }
  if (group == nullptr) {
    return {kStatusNoGroup, nullptr};
  }
  const role *row = find_role(group);
  if (row != nullptr && row->closed) {
    return {kStatusRoleClosed, nullptr};
  }
  return {0, row};
}

const std::vector<role> &roles_all() {
  return roles;
}
