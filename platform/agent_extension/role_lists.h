// What a role holds: numbers written as "10,20,100-199".
#ifndef PLATFORM_AGENT_EXTENSION_ROLE_LISTS_H
#define PLATFORM_AGENT_EXTENSION_ROLE_LISTS_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

struct number_range {
  uint32_t first;
  uint32_t last;  // included
};

// Ranges in rising order that neither overlap nor touch.
using number_list = std::vector<number_range>;

// Reads `text`: numbers and ranges of `lowest` to `highest`, separated by commas, nothing else in between. Returns null
// and adds them to `list`, or says what is wrong and leaves `list` as it was. The text of an error is a constant.
const char *number_list_read(const char *text, uint32_t lowest, uint32_t highest, number_list *list);

// Whether `number` is in the list.
bool number_list_holds(const number_list &list, uint32_t number);

// The list as it would be written, its first `most` ranges; what is left out is counted. "none" for an empty list.
std::string number_list_text(const number_list &list, size_t most);

#endif
