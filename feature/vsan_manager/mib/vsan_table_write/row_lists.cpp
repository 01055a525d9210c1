#include "vsan_table_write/row_lists.h"

#include <stdlib.h>

#include "vsan_records.h"
#include "vsan_table_write/written_row.h"

indxobj_t vsanEntry_list;
indxobj_t vsanEntry_undo_list;

namespace vsan_mib {
namespace {

// One mark a VSAN.
struct vsan_marks {
  uint8_t bits[kVsanSetBytes];
};

bool is_markable(uint32_t vsan) {
  return vsan / 8 < kVsanSetBytes;
}

bool is_marked(const vsan_marks &marks, uint32_t vsan) {
  return is_markable(vsan) && (marks.bits[vsan / 8] & (1u << (vsan % 8))) != 0;
}

void mark(vsan_marks &marks, uint32_t vsan, bool on) {
  if (!is_markable(vsan)) {
    return;
  }
  const uint8_t bit = static_cast<uint8_t>(1u << (vsan % 8));
  uint8_t &octet = marks.bits[vsan / 8];
  octet = static_cast<uint8_t>(on ? octet | bit : octet & ~bit);
}

// The VSANs whose row a column listed; the others are row status's. And those whose PDU is over although its columns'
// rows may still be listed.
vsan_marks pending_of_column;
vsan_marks saved_of_column;
vsan_marks pdu_is_over;

bool list_row(indxobj_t &list, vsan_marks &of_column, row_ptr row, lister by) {
  const uint32_t vsan = row->vsanIndex;
  if (indxobj_add(&list, row.get(), row.get()) == 0) {
    return false;
  }
  static_cast<void>(row.release());
  mark(of_column, vsan, by == lister::column);
  return true;
}

row_ptr take_row_off(indxobj_t &list, vsan_marks &of_column, const vsanEntry &key) {
  mark(of_column, key.vsanIndex, false);
  return row_ptr(static_cast<vsanEntry *>(indxobj_remove(&list, &key)));
}

void drop_rows_of_columns(const vsanEntry &key) {
  if (is_marked(pending_of_column, key.vsanIndex)) {
    take_pending(key);
  }
  if (is_marked(saved_of_column, key.vsanIndex)) {
    take_saved(key);
  }
  mark(pdu_is_over, key.vsanIndex, false);
}

}  // namespace

row_ptr new_row() {
  return row_ptr(static_cast<vsanEntry *>(calloc(1, sizeof(vsanEntry))));
}

bool list_pending(row_ptr row, lister by) {
  return list_row(vsanEntry_list, pending_of_column, std::move(row), by);
}

bool list_saved(row_ptr row, lister by) {
  return list_row(vsanEntry_undo_list, saved_of_column, std::move(row), by);
}

vsanEntry *find_pending(const vsanEntry &key) {
  return static_cast<vsanEntry *>(indxobj_find(&vsanEntry_list, &key, 0));
}

vsanEntry *find_saved(const vsanEntry &key) {
  return static_cast<vsanEntry *>(indxobj_find(&vsanEntry_undo_list, &key, 0));
}

row_ptr take_pending(const vsanEntry &key) {
  return take_row_off(vsanEntry_list, pending_of_column, key);
}

row_ptr take_saved(const vsanEntry &key) {
  return take_row_off(vsanEntry_undo_list, saved_of_column, key);
}

void note_pdu_over(const oid *name, size_t name_len) {
  const vsanEntry key = key_of(name, name_len);
  mark(pdu_is_over, key.vsanIndex, true);
  if (is_markable(key.vsanIndex)) {
    return;
  }
  // A manager of its own numbers: there is no mark for such a VSAN, and row status refuses it.
  take_pending(key);
  take_saved(key);
}

void forget_finished_pdu(const oid *name, size_t name_len) {
  const vsanEntry key = key_of(name, name_len);
  if (is_marked(pdu_is_over, key.vsanIndex)) {
    drop_rows_of_columns(key);
  }
}

void drop_all_rows_of_columns() {
  vsanEntry key = {};
  for (key.vsanIndex = 0; is_markable(key.vsanIndex); ++key.vsanIndex) {
    drop_rows_of_columns(key);
  }
}

}  // namespace vsan_mib
