#include "feature/vsan_manager/manager/vsan_row.h"

#include <string.h>

#include <algorithm>

#include "feature/vsan_manager/manager/vsan_rules.h"
#include "feature/vsan_manager/vsan_row_copy.h"
#include "platform/messaging/big_endian.h"
#include "platform/services/status_texts.h"

static constexpr size_t kRowAt = offsetof(vsanRowMessage, row);
static constexpr size_t kNameAt = kRowAt + offsetof(vsanEntry, vsanName);
static constexpr size_t kCopyAt = kRowAt + offsetof(vsanEntry, rest);
static constexpr size_t kCopyNameAt = kCopyAt + offsetof(vsanRowCopy, vsanName);

// The words of a row and of its copy, on the wire and in memory. Row status and operational state are derived and not
// here.
struct row_word {
  size_t offset;
  size_t copy_offset;
  uint32_t vsan_record::*field;
};
#define ROW_WORD(name, field) \
  { kRowAt + offsetof(vsanEntry, name), kCopyAt + offsetof(vsanRowCopy, name), &vsan_record::field }
static constexpr row_word kRowWords[] = {
    ROW_WORD(vsanIndex, id),
    ROW_WORD(vsanMediaType, media_type),
    ROW_WORD(vsanAdminState, admin_state),
    ROW_WORD(vsanMtu, mtu),
    ROW_WORD(vsanInorderDelivery, inorder),
    ROW_WORD(vsanInteropMode, interop),
    ROW_WORD(vsanLoadBalancingType, load_balancing),
    ROW_WORD(vsanNetworkDropLatency, drop_latency),
};
#undef ROW_WORD

static uint32_t word(row_bytes message, size_t offset) {
  return get_be32(message.data() + offset);
}

uint32_t row_vsan(row_bytes message) {
  return word(message, kRowAt);
}

// Returns whether the name has its end within its field.
static bool read_name(row_bytes message, size_t offset, std::string &name) {
  const auto *field = reinterpret_cast<const char *>(message.data() + offset);
  const size_t length = strnlen(field, kVsanNameField);
  name.assign(field, length);
  return length < kVsanNameField;
}

static int read_copy(row_bytes message, sent_row &row) {
  if (word(message, kCopyAt + offsetof(vsanRowCopy, magic)) != kRowCopyMagic) {
    return 0;
  }
  vsan_record &read = row.read.emplace();
  for (const row_word &each : kRowWords) {
    read.*each.field = word(message, each.copy_offset);
  }
  const bool named = read_name(message, kCopyNameAt, read.name);
  const bool sound = word(message, kCopyAt + offsetof(vsanRowCopy, version)) == kRowCopyVersion && named &&
                     read.id == row.vsan.id && vsan_problem(read) == 0;
  return sound ? 0 : kStatusRowCopyDamaged;
}

int row_read(row_bytes message, sent_row &row) {
  for (const row_word &each : kRowWords) {
    row.vsan.*each.field = word(message, each.offset);
  }
  row.row_status = word(message, kRowAt + offsetof(vsanEntry, vsanRowStatus));
  return read_name(message, kNameAt, row.vsan.name) ? read_copy(message, row) : kStatusNameMalformed;
}

std::vector<uint8_t> row_answer(const switch_state &state, const vsan_record &vsan) {
  std::vector<uint8_t> message(sizeof(vsanRowMessage));
  uint8_t *bytes = message.data();
  for (const row_word &each : kRowWords) {
    put_be32(bytes + each.offset, vsan.*each.field);
    put_be32(bytes + each.copy_offset, vsan.*each.field);
  }
  put_be32(bytes + kRowAt + offsetof(vsanEntry, vsanRowStatus), kRowStatusActive);
  put_be32(bytes + kRowAt + offsetof(vsanEntry, vsanOperState), oper_state(state, vsan));
  put_be32(bytes + kCopyAt + offsetof(vsanRowCopy, magic), kRowCopyMagic);
  put_be32(bytes + kCopyAt + offsetof(vsanRowCopy, version), kRowCopyVersion);
  for (const size_t name_at : {kNameAt, kCopyNameAt}) {
    std::ranges::copy(vsan.name, bytes + name_at);  // the message is all zeros: the NUL is there
  }
  return message;
}
