#include "ask/rows.h"

#include <string.h>

#include <algorithm>

#include "ask/question.h"
#include "output/failure.h"
#include "port_records.h"
#include "record_words.h"
#include "requests.h"
#include "statuses.h"
#include "vsan_records.h"

namespace {

constexpr size_t kRowAt = offsetof(vsanRowMessage, row);

std::vector<uint8_t> encode_row(const vsanEntry &row) {
  std::vector<uint8_t> message(sizeof(vsanRowMessage));
  record_write(row, message.data() + kRowAt);
  return message;
}

vsanEntry decode_row(const std::vector<uint8_t> &message) {
  return record_read<vsanEntry>(message.data() + kRowAt);
}

}  // namespace

int read_vsan(uint32_t id, vsanEntry &row) {
  vsanEntry asked = {};
  asked.vsanIndex = id;
  std::vector<uint8_t> answer;
  const int status =
      ask_switch({kServiceVsanManager, kOpVsanRow, kMsgGet, encode_row(asked), sizeof(vsanRowMessage)}, answer);
  if (status == 0) {
    row = decode_row(answer);
  }
  return status;
}

std::vector<vsanEntry> read_vsans() {
  std::vector<vsanEntry> rows;
  walk("the VSANs",
       {kServiceVsanManager, kOpVsanRow, kMsgGetNext, std::vector<uint8_t>(sizeof(vsanRowMessage)),
        sizeof(vsanRowMessage)},
       kStatusNoEntry, [&](const std::vector<uint8_t> &answer, std::vector<uint8_t> &next) {
         rows.push_back(decode_row(answer));
         next = answer;
       });
  return rows;
}

std::string vsan_name(const vsanEntry &row) {
  return {row.vsanName, strnlen(row.vsanName, kVsanNameField)};
}

int write_vsan(const vsanEntry &row, int msg_type) {
  std::vector<uint8_t> none;
  return ask_switch({kServiceVsanManager, kOpVsanRow, msg_type, encode_row(row), 0}, none);
}

namespace {

uint32_t vsan_of_interface(uint32_t index) {
  const auto answer = ask_or_fail(
      "interface " + std::to_string(index),
      {kServiceVsanManager, kOpInterfaceVsan, kMsgGet, record_bytes(vsanIfEntry{index, 0, 0, 0}), sizeof(vsanIfEntry)});
  return record_read<vsanIfEntry>(answer.data()).vsanIfVsan;
}

}  // namespace

std::vector<shown_interface> read_interfaces() {
  std::vector<shown_interface> rows;
  walk("the interfaces",
       {kServicePortManager, kOpInterface, kMsgGetNext, std::vector<uint8_t>(sizeof(switch_interface)),
        sizeof(switch_interface)},
       kStatusNoEntry, [&](const std::vector<uint8_t> &answer, std::vector<uint8_t> &next) {
         const auto record = record_read<switch_interface>(answer.data());
         rows.push_back({record.index, std::string(record.name, strnlen(record.name, sizeof record.name)),
                         record.up != 0, vsan_of_interface(record.index)});
         next = answer;
       });
  return rows;
}

shown_interface find_interface_row(const std::string &name_or_index) {
  const std::vector<shown_interface> rows = read_interfaces();
  const auto named = std::ranges::find(rows, name_or_index, &shown_interface::name);
  const auto numbered = std::ranges::find_if(
      rows, [&](const shown_interface &row) { return std::to_string(row.index) == name_or_index; });
  if (named == rows.end() && numbered == rows.end()) {
    fail(kExitRefused, "interface " + name_or_index + ": there is no interface of this name or index");
  }
  if (named != rows.end() && numbered != rows.end() && named != numbered) {
    fail(kExitRefused, "interface " + name_or_index + ": it is the name of the one with index " +
                           std::to_string(named->index) + " and the index of " + numbered->name +
                           ": name the other way");
  }
  return named != rows.end() ? *named : *numbered;
}

int read_timer(uint32_t vsan, uint32_t key, int msg_type, uint32_t &value) {
  vsanFcTimerEntry timer = {};
  timer.timer_type = key;
  timer.flag = vsan != 0 ? 1 : 0;
  timer.vsan_id = vsan;
  std::vector<uint8_t> answer;
  const int status = ask_switch({kServiceVsanManager, kOpFcTimer, msg_type, record_bytes(timer), sizeof timer}, answer);
  if (status == 0) {
    value = record_read<vsanFcTimerEntry>(answer.data()).timer_value;
  }
  return status;
}
