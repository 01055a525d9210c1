// Rows that are read, changed and written back by several people at once: an acknowledged write of one of them is never
// undone by another who only carried the column along.
//
// 1. What differs from the row as its client read it is the client's write.
// 2. What does not differ is left as it is, unless the client itself wrote it last: then it takes its own write back,
//    as it does with a whole row, and the column becomes again what that write found, which may be somebody else's.
// 3. A row that was not read, one without a copy, is a write of all its columns.
#ifndef FEATURE_MANAGERS_ROWS_ROW_MERGE_H
#define FEATURE_MANAGERS_ROWS_ROW_MERGE_H

#include <array>

#include "rows/vsan_row.h"
#include "state/vsan_fields.h"

// A row's columns: its numbers, by their place in kVsanFields, and the name after them.
inline constexpr size_t kNameColumn = std::size(kVsanFields);
inline constexpr size_t kColumnCount = kNameColumn + 1;

// Who wrote the columns of one VSAN last; kept in memory only. An empty text is nobody that is
// remembered: after a start every write was somebody else's.
struct row_writers {
  std::array<std::string, kColumnCount> last;
  std::array<std::string, kColumnCount> before;  // whose value the last writer replaced without having read it
  vsan_record replaced;                          // these values; only the columns that `before` names
};

// The VSAN as it is to be once `writer` has sent the row. `current` is what is there now. `writers` becomes true when
// that is made so.
vsan_record merge_row(const sent_row &row, const vsan_record &current, const std::string &writer, row_writers &writers);

// The writers of a VSAN that `writer` creates.
row_writers writers_of_new_row(const std::string &writer);

#endif
