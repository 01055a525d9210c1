#include <stdio.h>

#include <algorithm>

#include "writer.h"

namespace {

struct printed_table {
  std::vector<std::vector<std::string>> rows;  // the first is the heading
  std::vector<bool> right;                     // by column: numbers stand right
};

struct table_state {
  std::vector<std::pair<std::string, std::string>> fields;
  std::vector<printed_table> tables;
};

// A terminal must not obey what somebody put into a name.
std::string printable(const std::string &text) {
  std::string shown;
  for (const char each : text) {
    const auto octet = static_cast<unsigned char>(each);
    if (octet >= 0x20 && octet != 0x7F) {
      shown += each;
    } else {
      char escaped[5];
      snprintf(escaped, sizeof escaped, "\\x%02x", octet);
      shown += escaped;
    }
  }
  return shown;
}

std::string shown(const cell &value) {
  if (const auto *number = std::get_if<uint64_t>(&value)) {
    return std::to_string(*number);
  }
  if (const auto *flag = std::get_if<bool>(&value)) {
    return *flag ? "yes" : "no";
  }
  return printable(std::get<std::string>(value));
}

writer_state *table_open() {
  return new table_state;
}

void table_table(writer_state *state, const char *, const std::vector<const char *> &columns) {
  printed_table table;
  table.rows.emplace_back(columns.begin(), columns.end());
  table.right.resize(columns.size());
  static_cast<table_state *>(state)->tables.push_back(std::move(table));
}

void table_row(writer_state *state, const std::vector<cell> &cells) {
  printed_table &table = static_cast<table_state *>(state)->tables.back();
  std::vector<std::string> row;
  for (size_t i = 0; i < cells.size(); ++i) {
    row.push_back(shown(cells[i]));
    table.right[i] = std::holds_alternative<uint64_t>(cells[i]);
  }
  table.rows.push_back(std::move(row));
}

void table_field(writer_state *state, const char *name, const cell &value) {
  static_cast<table_state *>(state)->fields.emplace_back(name, shown(value));
}

void print_table(const printed_table &table) {
  std::vector<size_t> widths(table.right.size());
  for (const auto &row : table.rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], row[i].size());
    }
  }
  for (const auto &row : table.rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const std::string padding(widths[i] - row[i].size(), ' ');
      line += (i > 0 ? "  " : "") + (table.right[i] ? padding + row[i] : row[i] + padding);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    printf("%s\n", line.c_str());
  }
}

void table_close(writer_state *opaque) {
  auto *state = static_cast<table_state *>(opaque);
  size_t width = 0;
  for (const auto &[name, value] : state->fields) {
    width = std::max(width, name.size());
  }
  for (const auto &[name, value] : state->fields) {
    printf("%-*s  %s\n", static_cast<int>(width), name.c_str(), value.c_str());
  }
  bool first = state->fields.empty();
  for (const printed_table &table : state->tables) {
    printf("%s", first ? "" : "\n");
    first = false;
    print_table(table);
  }
  delete state;
}

}  // namespace

const writer_calls kTableWriter = {table_open, table_table, table_row, table_field, table_close};
