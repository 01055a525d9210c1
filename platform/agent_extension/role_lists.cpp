#include "role_lists.h"

#include <algorithm>

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

// Reads "N" or "N-M". Returns what is wrong, or null.
const char *read_range(const char **text, uint32_t lowest, uint32_t highest, number_range *range) {
  const char *wrong = read_number(text, lowest, highest, &range->first);
  if (wrong != nullptr) {
    return wrong;
  }
  range->last = range->first;
  if (**text != '-') {
    return nullptr;
  }
  ++*text;
  wrong = read_number(text, lowest, highest, &range->last);
  if (wrong == nullptr && range->last < range->first) {
    return "a range ends before it starts";
  }
  return wrong;
}

bool starts_before(const number_range &a, const number_range &b) {
  return a.first < b.first;
}

// Joins the ranges of a list in rising order that overlap or touch.
void join(number_list *list) {
  size_t kept = 0;
  for (const number_range &range : *list) {
    number_range *last = kept == 0 ? nullptr : &(*list)[kept - 1];
    if (last != nullptr && (range.first <= last->last || range.first - 1 == last->last)) {
      last->last = std::max(last->last, range.last);
    } else {
      (*list)[kept++] = range;
    }
  }
  list->resize(kept);
}

// A role may have thousands of lines: what is there already is in order and is not sorted again.
void add(const number_list &read, number_list *list) {
  const auto middle = list->insert(list->end(), read.begin(), read.end());
  std::sort(middle, list->end(), starts_before);
  std::inplace_merge(list->begin(), middle, list->end(), starts_before);
  join(list);
}

}  // namespace

const char *number_list_read(const char *text, uint32_t lowest, uint32_t highest, number_list *list) {
  number_list read;
  for (;;) {
    number_range range;
    const char *wrong = read_range(&text, lowest, highest, &range);
    if (wrong != nullptr) {
      return wrong;
    }
    read.push_back(range);
    if (*text == '\0') {
      break;
    }
    if (*text++ != ',') {
      return "numbers are separated by commas, as in 10,20,100-199";
    }
  }
  add(read, list);
  return nullptr;
}

bool number_list_holds(const number_list &list, uint32_t number) {
  const auto after = std::upper_bound(list.begin(), list.end(), number,
                                      [](uint32_t wanted, const number_range &range) { return wanted < range.first; });
  return after != list.begin() && number <= (after - 1)->last;
}

std::string number_list_text(const number_list &list, size_t most) {
  std::string text;
  for (size_t i = 0; i < list.size() && i < most; ++i) {
    text += (i == 0 ? "" : ",") + std::to_string(list[i].first);
    if (list[i].last != list[i].first) {
      text += "-" + std::to_string(list[i].last);
    }
  }
  if (list.size() > most) {
    text += " and " + std::to_string(list.size() - most) + " more ranges";
  }
  return list.empty() ? "none" : text;
}
