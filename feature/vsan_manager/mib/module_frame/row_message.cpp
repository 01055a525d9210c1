#include "module_frame/row_message.h"

#include <string.h>

#include "big_endian.h"
#include "record_words.h"
#include "requests.h"
#include "vsan_records.h"

namespace vsan_mib {
namespace {

// The parts of the envelope that are not used go out as zeros.
vsanRowMessage envelope(const vsanEntry &row) {
  vsanRowMessage message = {};
  message.row = row;
  record_swap(&message.row);
  return message;
}

// In two parts, each short enough for the library's quick way.
void clear(vsanRowMessage *message) {
  constexpr size_t kHalf = sizeof *message / 2;
  auto *bytes = reinterpret_cast<uint8_t *>(message);
  memset(bytes, 0, kHalf);
  memset(bytes + kHalf, 0, sizeof *message - kHalf);
}

}  // namespace

answer ask_for_row(int msg_type, uint32_t vsan) {
  vsanRowMessage message;
  clear(&message);  // a read carries nothing but the index
  put_be32(reinterpret_cast<uint8_t *>(&message.row.vsanIndex), vsan);
  return ask(kOpVsanRow, msg_type, &message, sizeof message, offsetof(vsanRowMessage, row) + sizeof(vsanEntry));
}

vsanEntry *take_row(const answer &got) {
  auto *row = &static_cast<vsanRowMessage *>(got.payload.get())->row;
  record_swap(row);
  if (memchr(row->vsanName, '\0', sizeof row->vsanName) == nullptr) {
    row->vsanName[kVsanNameField - 1] = '\0';
  }
  return row;
}

int send_row(int msg_type, const vsanEntry &row) {
  vsanRowMessage message = envelope(row);
  return tell(kOpVsanRow, msg_type, &message, sizeof message, kTimeout);
}

}  // namespace vsan_mib
