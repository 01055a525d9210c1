#include "rows/vsan_row.h"

#include <string.h>

#include <algorithm>

#include "big_endian.h"
#include "record_words.h"
#include "rules/vsan_rules.h"
#include "state/vsan_fields.h"
#include "statuses.h"
#include "vsan_records.h"
#include "vsan_row_copy.h"
#include "vsan_values.h"

namespace {

constexpr size_t kRowAt = offsetof(vsanRowMessage, row);

vsanEntry read_row(row_bytes message) {
  return record_read<vsanEntry>(message.data() + kRowAt);
}

// Takes a name out of its field. Returns whether it has its end there.
bool take_name(const char (&field)[kVsanNameField], std::string &name) {
  const size_t length = strnlen(field, kVsanNameField);
  name.assign(field, length);
  return length < kVsanNameField;
}

int take_copy(const vsanEntry &sent, sent_row &row) {
  const auto copy = record_read<vsanRowCopy>(sent.rest);
  if (copy.magic != kRowCopyMagic) {
    return 0;
  }
  vsan_record &read = row.read.emplace();
  for (const vsan_field &field : kVsanFields) {
    read.*field.kept = copy.*field.copied;
  }
  const bool named = take_name(copy.vsanName, read.name);
  const bool sound =
      copy.version == kRowCopyVersion && named && read.id == row.vsan.id && vsan_problem(read, read.name) == 0;
  return sound ? 0 : kStatusRowCopyDamaged;
}

}  // namespace

uint32_t row_vsan(row_bytes message) {
  return get_be32(message.data() + kRowAt + offsetof(vsanEntry, vsanIndex));
}

int row_read(row_bytes message, sent_row &row) {
  const vsanEntry sent = read_row(message);
  for (const vsan_field &field : kVsanFields) {
    row.vsan.*field.kept = sent.*field.sent;
  }
  row.row_status = sent.vsanRowStatus;
  return take_name(sent.vsanName, row.vsan.name) ? take_copy(sent, row) : kStatusNameMalformed;
}

std::vector<uint8_t> row_answer(const switch_state &state, const vsan_record &vsan) {
  vsanEntry row = {};
  vsanRowCopy copy = {};
  for (const vsan_field &field : kVsanFields) {
    row.*field.sent = vsan.*field.kept;
    copy.*field.copied = vsan.*field.kept;
  }
  row.vsanRowStatus = kRowStatusActive;
  row.vsanOperState = oper_state(state, vsan);
  copy.magic = kRowCopyMagic;
  copy.version = kRowCopyVersion;
  // Both fields are all zeros: the NUL is there.
  std::ranges::copy(vsan.name, row.vsanName);
  std::ranges::copy(vsan.name, copy.vsanName);
  record_write(copy, row.rest);
  std::vector<uint8_t> message(sizeof(vsanRowMessage));
  record_write(row, message.data() + kRowAt);
  return message;
}
