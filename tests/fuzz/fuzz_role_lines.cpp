// The agent's lines of roles: words and lists as somebody may type them. A line that is complained of closes its group,
// one that is not gives it what it says and no more.
#include <string.h>

#include "config_tokens.h"
#include "fuzz_input.h"
#include "roles.h"
#include "vsan_values.h"

namespace {

int complaints = 0;

using reader = void (*)(const char *token, char *line);
struct token {
  const char *name;
  reader read;
};
constexpr token kTokens[] = {{"vsanRole", roles_read_vsans},
                             {"vsanRoleInterfaces", roles_read_interfaces},
                             {"vsanRoleSwitch", roles_read_switch}};

bool is_allowed(const role &held, uint32_t vsan) {
  return (held.vsans.bits[vsan / 8] >> vsan % 8 & 1) != 0;
}

// A list that is written is read as the same list.
void check_list(const number_list &list, uint32_t lowest, uint32_t highest) {
  if (list.empty()) {
    return;
  }
  number_list again;
  FUZZ_EXPECT(number_list_read(number_list_text(list, SIZE_MAX).c_str(), lowest, highest, &again) == nullptr);
  FUZZ_EXPECT(number_list_text(again, SIZE_MAX) == number_list_text(list, SIZE_MAX));
  for (size_t i = 0; i < list.size(); ++i) {
    FUZZ_EXPECT(list[i].first >= lowest && list[i].last <= highest && list[i].first <= list[i].last);
    FUZZ_EXPECT(i == 0 || list[i].first > list[i - 1].last + 1);
  }
}

void check_roles() {
  for (const role &each : roles_all()) {
    FUZZ_EXPECT(!each.group.empty() && each.group.size() <= 32);
    FUZZ_EXPECT((roles_judge(each.group.c_str()).closed != 0) == each.closed);
    FUZZ_EXPECT(!is_allowed(each, 0));
    check_list(each.vsan_list, 1, kVsanReserved);
    check_list(each.interface_list, 0, UINT32_MAX);
    for (uint32_t vsan = 1; vsan <= kVsanReserved; ++vsan) {
      FUZZ_EXPECT(is_allowed(each, vsan) == (!each.has_vsans || number_list_holds(each.vsan_list, vsan)));
    }
  }
}

}  // namespace

void config_complain(const char *, const char *, const char *complaint) {
  FUZZ_EXPECT(strlen(complaint) < 256);
  ++complaints;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  roles_forget();
  roles_start();
  fuzz_input in = {data, size};
  while (in.left != 0) {
    const token &line_of = kTokens[take_byte(in) % 3];
    const uint8_t *end = static_cast<const uint8_t *>(memchr(in.at, '\n', in.left));
    std::vector<uint8_t> line = take_bytes(in, end == nullptr ? in.left : static_cast<size_t>(end - in.at));
    take_byte(in);
    line.push_back('\0');
    const int before = complaints;
    const size_t open_before = roles_all().size();
    line_of.read(line_of.name, reinterpret_cast<char *>(line.data()));
    // What was complained of gives no new group anything.
    FUZZ_EXPECT(complaints == before || roles_all().size() == open_before || roles_all().back().closed);
  }
  check_roles();
  return 0;
}
