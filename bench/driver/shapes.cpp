#include "shapes.h"

#include <string.h>

#include <algorithm>

#include "bench_rows.h"
#include "ber.h"

namespace bench {
namespace {

using name_t = std::vector<uint32_t>;

constexpr char kReader[] = "public";
constexpr char kWriter[] = "private";
constexpr char kRestricted[] = "limited";

enum : uint8_t { kGet = 0xA0, kGetNext = 0xA1, kSet = 0xA3, kGetBulk = 0xA5 };
constexpr int64_t kVersion2c = 1;
constexpr char kIdPlace[] = {0x10, 0, 0, 0};

name_t below(name_t name, std::initializer_list<uint32_t> suffix) {
  name.insert(name.end(), suffix);
  return name;
}

const name_t kVsanTable = {BENCH_VSAN_TABLE};
const name_t kTimerTable = {1, 3, 6, 1, 4, 1, 32473, 9, 282, 1, 4, 8};
const name_t kSummaryTable = {1, 3, 6, 1, 4, 1, 32473, 9, 282, 1, 2, 8};

std::string null_varbind(const name_t &name) {
  return tlv(kSequence, tlv(kOid, oid_content(name)) + tlv(kNull, ""));
}

// The two numbers are those of a GETBULK; 0 for the others.
exchange make_exchange(uint8_t pdu, const char *community, int64_t first, int64_t second, const std::string &varbinds) {
  const std::string content = tlv(kInteger, {kIdPlace, sizeof kIdPlace}) + tlv(kInteger, integer_content(first)) +
                              tlv(kInteger, integer_content(second)) + tlv(kSequence, varbinds);
  exchange made;
  made.message =
      tlv(kSequence, tlv(kInteger, integer_content(kVersion2c)) + tlv(kOctets, community) + tlv(pdu, content));
  made.id_at = made.message.size() - content.size() + 2;  // after the id's own tag and length
  return made;
}

cell word_cell(const name_t &name, uint8_t type, uint32_t value) {
  return {oid_content(name), type, integer_content(value)};
}

cell cell_of(const row &row, const column &column) {
  const name_t name = below(kVsanTable, {kEntry, column.number, row.vsan});
  return column.word != nullptr ? word_cell(name, column.type, row.*column.word)
                                : cell{oid_content(name), kOctets, row.name};
}

// A table in the order of its OIDs: as many rows in each column. `names` are the cells' OIDs, `columns` the columns'.
struct ordered_table {
  name_t root;
  std::vector<name_t> columns{};
  std::vector<name_t> names{};
  std::vector<cell> cells{};
  uint32_t rows = 0;
};

void add(ordered_table &table, const name_t &column, std::initializer_list<uint32_t> index, uint8_t type,
         const std::string &value) {
  table.names.push_back(below(column, index));
  table.cells.push_back({oid_content(table.names.back()), type, value});
}

ordered_table vsan_table(uint32_t vsans, uint32_t step) {
  ordered_table table = {.root = kVsanTable};
  for (const column &column : kColumns) {
    table.columns.push_back(below(kVsanTable, {kEntry, column.number}));
    table.rows = 0;
    for (uint32_t vsan = 1; vsan <= vsans; vsan += step, ++table.rows) {
      const cell made = cell_of(row_of(vsan), column);
      add(table, table.columns.back(), {vsan}, made.type, made.value);
    }
  }
  return table;
}

ordered_table timer_table(uint32_t vsans) {
  ordered_table table = {.root = kTimerTable, .rows = vsans};
  constexpr uint32_t timers::*kTimers[] = {&timers::ratov, &timers::edtov, &timers::dstov, &timers::fstov};
  for (uint32_t number = 1; number <= 1 + std::size(kTimers); ++number) {
    table.columns.push_back(below(kTimerTable, {1, number}));
    for (uint32_t vsan = 1; vsan <= vsans; ++vsan) {
      if (number == 1) {  // the force flags, none of which is set
        add(table, table.columns.back(), {vsan}, kOctets, std::string(1, '\0'));
      } else {
        add(table, table.columns.back(), {vsan}, kGauge, integer_content(timers_of(vsan).*kTimers[number - 2]));
      }
    }
  }
  return table;
}

ordered_table summary_table(uint32_t vsans) {
  ordered_table table = {.root = kSummaryTable, .columns = {below(kSummaryTable, {1, 1})}};
  for (uint32_t vsan = 1; vsan <= vsans; ++vsan) {
    if (row_of(vsan).oper_state == 1) {
      add(table, table.columns[0], {vsan, interface_of(vsan)}, kInteger, integer_content(interface_of(vsan)));
      ++table.rows;
    }
  }
  return table;
}

// What every agent of the bench has itself.
ordered_table contact() {
  ordered_table table = {.root = {1, 3, 6, 1, 2, 1, 1}, .rows = 1};
  add(table, below(table.root, {4}), {0}, kOctets, "bench");
  return table;
}

ordered_table table_of(table_kind kind, uint32_t vsans) {
  switch (kind) {
    case table_kind::timers:
      return timer_table(vsans);
    case table_kind::summary:
      return summary_table(vsans);
    case table_kind::contact:
      return contact();
    case table_kind::visible_vsans:
      return vsan_table(vsans, kVisibleStep);
    case table_kind::vsans:
      break;
  }
  return vsan_table(vsans, 1);
}

exchange read_exchange(const shape &shape, uint32_t repetitions, const std::string &varbinds) {
  const char *community = shape.table == table_kind::visible_vsans ? kRestricted : kReader;
  const bool bulk = shape.kind == request_kind::bulk;
  const uint8_t pdu = bulk ? kGetBulk : shape.kind == request_kind::get ? kGet : kGetNext;
  return make_exchange(pdu, community, 0, bulk ? repetitions : 0, varbinds);
}

// What is asked for so that the cell `at` is the first of the answer.
const name_t &name_for(const shape &shape, const ordered_table &table, uint32_t at) {
  if (shape.kind == request_kind::get) {
    return table.names[at];
  }
  return at == 0 ? table.root : table.names[at - 1];
}

// A walk over the whole table, cell by cell, `repetitions` of them a request; by GET, every cell by its own name.
void add_walk(const shape &shape, const ordered_table &table, workload &work) {
  const auto total = static_cast<uint32_t>(table.cells.size());
  const uint32_t repetitions = std::min(shape.repetitions, total);
  for (uint32_t at = 0; at + repetitions <= total; at += repetitions) {
    exchange made = read_exchange(shape, repetitions, null_varbind(name_for(shape, table, at)));
    for (uint32_t i = 0; i < repetitions; ++i) {
      made.expected.push_back(at + i);
    }
    work.exchanges.push_back(std::move(made));
  }
}

// All columns at once, row by row. Where a table has fewer rows than a request has repetitions, every column goes on
// in its neighbour, and the last one, which has none, is replaced by the first.
void add_rows(const shape &shape, const ordered_table &table, workload &work) {
  const bool overflows = table.rows < shape.repetitions;
  const uint32_t step = std::min(shape.repetitions, table.rows);
  for (uint32_t at = 0; at + step <= table.rows; at += step) {
    std::string varbinds;
    std::vector<uint32_t> places;
    for (uint32_t i = 0; i < shape.columns; ++i) {
      const uint32_t column = overflows && i + 1 == shape.columns ? 0 : i;
      places.push_back(column * table.rows + at);
      varbinds += null_varbind(at == 0 ? table.columns[column] : table.names[places.back() - 1]);
    }
    exchange made = read_exchange(shape, shape.repetitions, varbinds);
    for (uint32_t i = 0; i < shape.repetitions; ++i) {
      for (const uint32_t place : places) {
        made.expected.push_back(place + i);
      }
    }
    work.exchanges.push_back(std::move(made));
  }
}

row altered(row row) {
  row.load_balancing = 3 - row.load_balancing;
  row.drop_latency += 1;
  memcpy(row.name, "altered", strlen("altered"));
  return row;
}

void add_set(const shape &shape, const row &row, workload &work) {
  constexpr uint32_t kSetColumns[] = {6, 2, 12};  // the first alone, or all of them
  std::string varbinds;
  exchange made;
  for (uint32_t i = 0; i < shape.columns; ++i) {
    const cell set = cell_of(row, *find_column(kSetColumns[i]));
    varbinds += tlv(kSequence, tlv(kOid, set.name) + tlv(set.type, set.value));
    made.expected.push_back(static_cast<uint32_t>(work.cells.size()));
    work.cells.push_back(set);
  }
  exchange request = make_exchange(kSet, kWriter, 0, 0, varbinds);
  request.expected = std::move(made.expected);
  work.exchanges.push_back(std::move(request));
}

}  // namespace

const shape *find_shape(const std::string &name) {
  const auto found = std::ranges::find_if(kShapes, [&](const shape &each) { return name == each.name; });
  return found == std::end(kShapes) ? nullptr : &*found;
}

workload make_workload(const shape &shape, uint32_t vsans) {
  workload work;
  if (shape.kind == request_kind::set) {
    work.step = 2;
    for (uint32_t vsan = 1; vsan <= vsans; ++vsan) {
      add_set(shape, altered(row_of(vsan)), work);
      add_set(shape, row_of(vsan), work);
    }
    return work;
  }
  ordered_table table = table_of(shape.table, vsans);
  if (shape.columns == 1) {
    add_walk(shape, table, work);
  } else {
    add_rows(shape, table, work);
  }
  work.cells = std::move(table.cells);
  return work;
}

}  // namespace bench
