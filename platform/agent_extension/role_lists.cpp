#include "platform/agent_extension/role_lists.h"

namespace {

// Reads one number and moves `*text` past it. Returns what is wrong, or null.
const char *read_number(const char **text, uint32_t lowest, uint32_t highest, uint32_t *number) {
  const char *at = *text;
  if (*at < '0' || *at > '9') {
    return "a number is missing";
  }
  uint64_t value = 0;
  for (; *at >= '0' && *at <= '9'; ++at) {
    value = value * 10 + static_cast<uint64_t>(*at - '0');
    if (value > highest) {
      return "a number is too large";
    }
  }
  if (value < lowest) {
    return "a number is too small";
  }
  *number = static_cast<uint32_t>(value);
  *text = at;
  return nullptr;
}

}  // namespace

const char *number_list_read(const char *text, uint32_t lowest, uint32_t highest, number_list *list) {
  number_list read;
  for (;;) {
    number_range range;
    const char *wrong = read_number(&text, lowest, highest, &range.first);
    if (wrong != nullptr) {
      return wrong;
    }
    range.last = range.first;
    if (*text == '-') {
      ++text;
      wrong = read_number(&text, lowest, highest, &range.last);
      if (wrong != nullptr) {
        return wrong;
      }
      if (range.last < range.first) {
        return "a range ends before it starts";
      }
    }
    read.push_back(range);
    if (*text == '\0') {
      break;
    }
    if (*text++ != ',') {
      return "numbers are separated by commas, as in 10,20,100-199";
    }
  }
  list->insert(list->end(), read.begin(), read.end());
  return nullptr;
}

bool number_list_holds(const number_list &list, uint32_t number) {
  for (const number_range &range : list) {
    if (number >= range.first && number <= range.last) {
      return true;
    }
  }
  return false;
}
