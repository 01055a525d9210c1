#include "rows/row_merge.h"

namespace {

// What one column's merge needs.
struct column_merge {
  const sent_row &row;
  const vsan_record &current;
  const std::string &writer;
  row_writers &writers;
  vsan_record &merged;
};

// The client's own write. What it replaces without having been read there is kept, should the write be taken back.
template <typename Value>
void write_column(const column_merge &merge, Value vsan_record::*field, size_t column) {
  std::string &last = merge.writers.last[column];
  std::string &before = merge.writers.before[column];
  const bool was_read = !merge.row.read || merge.current.*field == (*merge.row.read).*field;
  if (was_read) {
    before.clear();
  } else if (last != merge.writer) {
    before = last;
    merge.writers.replaced.*field = merge.current.*field;
  }
  last = merge.writer;
  merge.merged.*field = merge.row.vsan.*field;
}

// The client's own write is undone.
template <typename Value>
void take_back_column(const column_merge &merge, Value vsan_record::*field, size_t column) {
  std::string &last = merge.writers.last[column];
  std::string &before = merge.writers.before[column];
  merge.merged.*field = before.empty() ? merge.row.vsan.*field : merge.writers.replaced.*field;
  last = before.empty() ? merge.writer : before;
  before.clear();
}

template <typename Value>
void merge_column(const column_merge &merge, Value vsan_record::*field, size_t column) {
  const Value &sent = merge.row.vsan.*field;
  const std::string &last = merge.writers.last[column];
  if (!merge.row.read || sent != (*merge.row.read).*field) {
    write_column(merge, field, column);
  } else if (sent != merge.current.*field && last == merge.writer) {
    take_back_column(merge, field, column);
  }
}

}  // namespace

vsan_record merge_row(const sent_row &row, const vsan_record &current, const std::string &writer,
                      row_writers &writers) {
  vsan_record merged = current;
  const column_merge merge{row, current, writer, writers, merged};
  for (size_t column = 0; column < kNameColumn; ++column) {
    const vsan_field &field = kVsanFields[column];
    if (!field.may_be_unwritten || row.vsan.*field.kept != 0) {
      merge_column(merge, field.kept, column);
    }
  }
  merge_column(merge, &vsan_record::name, kNameColumn);
  return merged;
}

row_writers writers_of_new_row(const std::string &writer) {
  row_writers writers;
  writers.last.fill(writer);
  return writers;
}
