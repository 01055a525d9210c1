#include "vsanctl/rows.h"

#include <string.h>

#include <algorithm>

#include "feature/port_manager/port_manager.h"
#include "platform/messaging/big_endian.h"
#include "platform/services.h"
#include "vsanctl/exchange.h"

static constexpr size_t kRowAt = offsetof(vsanRowMessage, row);
static constexpr size_t kNameAt = kRowAt + offsetof(vsanEntry, vsanName);
static constexpr size_t kRestAt = kRowAt + offsetof(vsanEntry, rest);

struct row_word {
  size_t offset;  // in the row
  uint32_t vsanEntry::*field;
};
static constexpr row_word kRowWords[] = {
    {offsetof(vsanEntry, vsanIndex), &vsanEntry::vsanIndex},
    {offsetof(vsanEntry, vsanMediaType), &vsanEntry::vsanMediaType},
    {offsetof(vsanEntry, vsanAdminState), &vsanEntry::vsanAdminState},
    {offsetof(vsanEntry, vsanMtu), &vsanEntry::vsanMtu},
    {offsetof(vsanEntry, vsanInorderDelivery), &vsanEntry::vsanInorderDelivery},
    {offsetof(vsanEntry, vsanInteropMode), &vsanEntry::vsanInteropMode},
    {offsetof(vsanEntry, vsanLoadBalancingType), &vsanEntry::vsanLoadBalancingType},
    {offsetof(vsanEntry, vsanRowStatus), &vsanEntry::vsanRowStatus},
    {offsetof(vsanEntry, vsanOperState), &vsanEntry::vsanOperState},
    {offsetof(vsanEntry, vsanNetworkDropLatency), &vsanEntry::vsanNetworkDropLatency},
};

static std::vector<uint8_t> encode_row(const vsanEntry &row) {
  std::vector<uint8_t> bytes(sizeof(vsanRowMessage));
  for (const row_word &each : kRowWords) {
    put_be32(bytes.data() + kRowAt + each.offset, row.*each.field);
  }
  memcpy(bytes.data() + kNameAt, row.vsanName, kVsanNameField);
  memcpy(bytes.data() + kRestAt, row.rest, sizeof row.rest);
  return bytes;
}

static vsanEntry decode_row(const std::vector<uint8_t> &bytes) {
  vsanEntry row = {};
  for (const row_word &each : kRowWords) {
    row.*each.field = get_be32(bytes.data() + kRowAt + each.offset);
  }
  memcpy(row.vsanName, bytes.data() + kNameAt, kVsanNameField);
  memcpy(row.rest, bytes.data() + kRestAt, sizeof row.rest);
  return row;
}

int read_vsan(uint32_t id, vsanEntry &row) {
  vsanEntry asked = {};
  asked.vsanIndex = id;
  std::vector<uint8_t> answer;
  const int status = ask({kServiceVsanManager, kOpVsanRow, kMsgGet, encode_row(asked), sizeof(vsanRowMessage)}, answer);
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
  return ask({kServiceVsanManager, kOpVsanRow, msg_type, encode_row(row), 0}, none);
}

static uint32_t vsan_of_interface(uint32_t index) {
  std::vector<uint8_t> request(sizeof(vsanIfEntry));
  put_be32(request.data(), index);
  const auto answer = ask_or_fail("interface " + std::to_string(index),
                                  {kServiceVsanManager, kOpInterfaceVsan, kMsgGet, request, sizeof(vsanIfEntry)});
  return get_be32(answer.data() + offsetof(vsanIfEntry, vsanIfVsan));
}

std::vector<interface_row> read_interfaces() {
  std::vector<interface_row> rows;
  walk("the interfaces",
       {kServicePortManager, kOpInterface, kMsgGetNext, std::vector<uint8_t>(kInterfaceRecordSize),
        kInterfaceRecordSize},
       kStatusNoEntry, [&](const std::vector<uint8_t> &answer, std::vector<uint8_t> &next) {
         const auto *name = reinterpret_cast<const char *>(answer.data() + kInterfaceNameAt);
         const uint32_t index = get_be32(answer.data());
         rows.push_back({index, std::string(name, strnlen(name, kInterfaceRecordSize - kInterfaceNameAt)),
                         get_be32(answer.data() + 4) != 0, vsan_of_interface(index)});
         next = answer;
       });
  return rows;
}

interface_row find_interface_row(const std::string &name_or_index) {
  const std::vector<interface_row> rows = read_interfaces();
  const auto found = std::ranges::find_if(rows, [&](const interface_row &row) {
    return row.name == name_or_index || std::to_string(row.index) == name_or_index;
  });
  if (found == rows.end()) {
    fail(kExitRefused, "interface " + name_or_index + ": there is no interface of this name or index");
  }
  return *found;
}

int read_timer(uint32_t vsan, uint32_t key, int msg_type, uint32_t &value) {
  std::vector<uint8_t> request(sizeof(vsanFcTimerEntry));
  put_be32(request.data() + offsetof(vsanFcTimerEntry, timer_type), key);
  request[offsetof(vsanFcTimerEntry, flag)] = vsan != 0 ? 1 : 0;
  put_be32(request.data() + offsetof(vsanFcTimerEntry, vsan_id), vsan);
  std::vector<uint8_t> answer;
  const int status = ask({kServiceVsanManager, kOpFcTimer, msg_type, request, sizeof(vsanFcTimerEntry)}, answer);
  if (status == 0) {
    value = get_be32(answer.data() + offsetof(vsanFcTimerEntry, timer_value));
  }
  return status;
}
