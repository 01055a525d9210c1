#include "bench_rows.h"

#include <stdio.h>
#include <string.h>

#include "number_text.h"

namespace bench {

const column *find_column(uint32_t number) {
  for (const column &each : kColumns) {
    if (each.number == number) {
      return &each;
    }
  }
  return nullptr;
}

row row_of(uint32_t vsan) {
  row made = {.vsan = vsan,
              .media = vsan % 5 == 0 ? 2U : 1U,
              .admin_state = vsan % 10 == 0 ? 2U : 1U,
              .mtu = 2112 - vsan % 64,
              .load_balancing = 1 + vsan % 2,
              .row_status = 1,
              .interop = vsan % 5,
              .inorder = vsan % 3 == 0 ? 1U : 2U,
              .drop_latency = 1000 + vsan};
  made.oper_state = made.admin_state == 1 && is_interface_up(vsan) ? 1 : 2;
  snprintf(made.name, sizeof made.name, "fabric-%04u", vsan);
  return made;
}

std::vector<row> rows_up_to(uint32_t vsans) {
  std::vector<row> rows;
  rows.reserve(vsans);
  for (uint32_t vsan = 1; vsan <= vsans; ++vsan) {
    rows.push_back(row_of(vsan));
  }
  return rows;
}

uint32_t rows_wanted(const char *text) {
  uint32_t number = 0;
  return text != nullptr && read_number(text, number) && number <= kVsansMax ? number : 0;
}

bool store_value(row &to, const column &column, const void *value, size_t size) {
  if (!column.writable) {
    return false;
  }
  if (column.word == nullptr) {
    if (size >= kNameSize) {
      return false;
    }
    memcpy(to.name, value, size);
    to.name[size] = '\0';
    return true;
  }
  if (size == sizeof(long)) {
    long word;
    memcpy(&word, value, sizeof word);
    to.*column.word = static_cast<uint32_t>(word);
    return true;
  }
  if (size == sizeof(uint32_t)) {
    memcpy(&(to.*column.word), value, size);
    return true;
  }
  return false;
}

uint32_t interface_of(uint32_t vsan) {
  return 0x01000000 + vsan * 0x1000;
}

bool is_interface_up(uint32_t vsan) {
  return vsan % 4 != 3;
}

timers timers_of(uint32_t vsan) {
  return {.ratov = 10000, .edtov = vsan % 7 == 0 ? 1000 + vsan % 3000 : 2000, .dstov = 5000, .fstov = 5000};
}

}  // namespace bench
