// Tables for people. Widths, alignment and the escaping of what a terminal would obey are the library's.
#include <libsmartcols.h>
#include <stdio.h>

#include <memory>
#include <new>

#include "output/writer.h"

namespace {

struct unref_table {
  void operator()(libscols_table *table) const { scols_unref_table(table); }
};
using table_ptr = std::unique_ptr<libscols_table, unref_table>;

struct printed_table {
  table_ptr table;
  std::vector<const char *> columns;
  bool filled = false;
};

struct table_state {
  table_ptr fields;  // null: none yet
  std::vector<printed_table> tables;
};

std::string shown(const cell &cell) {
  if (!cell.shown.empty()) {
    return cell.shown;
  }
  if (const auto *flag = std::get_if<bool>(&cell.value)) {
    return *flag ? "yes" : "no";
  }
  if (const auto *text = std::get_if<std::string>(&cell.value)) {
    return *text;
  }
  const auto *negative = std::get_if<int64_t>(&cell.value);
  return negative != nullptr ? std::to_string(*negative) : std::to_string(std::get<uint64_t>(cell.value));
}

bool stands_right(const cell &cell) {
  return std::holds_alternative<uint64_t>(cell.value) || std::holds_alternative<int64_t>(cell.value);
}

table_ptr new_table(const std::vector<const char *> &columns) {
  table_ptr table(scols_new_table());
  if (!table || scols_table_set_column_separator(table.get(), "  ") != 0 ||
      scols_table_enable_nowrap(table.get(), 1) != 0) {
    throw std::bad_alloc();
  }
  for (const char *name : columns) {
    if (scols_table_new_column(table.get(), name, 0, 0) == nullptr) {
      throw std::bad_alloc();
    }
  }
  return table;
}

void add_line(libscols_table *table, const std::vector<std::string> &texts) {
  libscols_line *line = scols_table_new_line(table, nullptr);
  for (size_t i = 0; line != nullptr && i < texts.size(); ++i) {
    if (scols_line_set_data(line, i, texts[i].c_str()) != 0) {
      throw std::bad_alloc();
    }
  }
}

writer_state *table_open() {
  return new table_state;
}

void table_table(writer_state *state, const char *, const std::vector<const char *> &columns) {
  static_cast<table_state *>(state)->tables.push_back({new_table(columns), columns});
}

void table_row(writer_state *state, const std::vector<cell> &cells) {
  printed_table &printed = static_cast<table_state *>(state)->tables.back();
  std::vector<std::string> texts;
  for (size_t i = 0; i < cells.size(); ++i) {
    texts.push_back(shown(cells[i]));
    if (stands_right(cells[i])) {
      scols_column_set_flags(scols_table_get_column(printed.table.get(), i), SCOLS_FL_RIGHT);
    }
  }
  add_line(printed.table.get(), texts);
  printed.filled = true;
}

void table_field(writer_state *opaque, const char *name, const cell &value) {
  auto *state = static_cast<table_state *>(opaque);
  if (!state->fields) {
    state->fields = new_table({"", ""});
    scols_table_enable_noheadings(state->fields.get(), 1);
  }
  add_line(state->fields.get(), {name, shown(value)});
}

// The library prints nothing at all of a table without rows; its headings say what there is none of.
void print_headings(const printed_table &printed) {
  const char *between = "";
  for (const char *column : printed.columns) {
    printf("%s%s", between, column);
    between = "  ";
  }
  printf("\n");
}

void table_close(writer_state *opaque) {
  const std::unique_ptr<table_state> state(static_cast<table_state *>(opaque));
  if (state->fields) {
    scols_print_table(state->fields.get());
  }
  bool first = !state->fields;
  for (const printed_table &printed : state->tables) {
    printf("%s", first ? "" : "\n");
    first = false;
    if (printed.filled) {
      scols_print_table(printed.table.get());
    } else {
      print_headings(printed);
    }
  }
}

}  // namespace

const writer_calls kTableWriter = {table_open, table_table, table_row, table_field, table_close};
