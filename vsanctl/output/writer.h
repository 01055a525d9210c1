// What `vsanctl` shows, written once and printed as tables for people or as JSON for programs.
#ifndef VSANCTL_OUTPUT_WRITER_H
#define VSANCTL_OUTPUT_WRITER_H

#include <stdint.h>

#include <string>
#include <variant>
#include <vector>

// One value. A column or field has one type in every row, as JSON; people may be shown another text for it.
struct cell {
  std::variant<int64_t, uint64_t, bool, std::string> value;
  std::string shown = {};  // for people; empty: the value itself
};

inline cell number_cell(uint64_t value, std::string shown = "") {
  return {value, std::move(shown)};
}
inline cell signed_cell(int64_t value, std::string shown = "") {
  return {value, std::move(shown)};
}
inline cell text_cell(std::string value) {
  return {std::move(value)};
}
inline cell flag_cell(bool value) {
  return {value};
}

// What a way to print keeps; each has its own.
using writer_state = void;

// The calls of one way to print.
struct writer_calls {
  writer_state *(*open)();
  // Starts a table; rows follow, each with a cell for each column.
  void (*table)(writer_state *state, const char *name, const std::vector<const char *> &columns);
  void (*row)(writer_state *state, const std::vector<cell> &cells);
  // Adds one named value, outside of tables.
  void (*field)(writer_state *state, const char *name, const cell &value);
  // Prints everything to standard output and frees the state.
  void (*close)(writer_state *state);
};

extern const writer_calls kTableWriter;
extern const writer_calls kJsonWriter;

// A way to print with its state.
struct writer {
  const writer_calls *calls;
  writer_state *state;
};

inline writer writer_open(bool json) {
  const writer_calls *calls = json ? &kJsonWriter : &kTableWriter;
  return {calls, calls->open()};
}
inline void write_table(const writer &to, const char *name, const std::vector<const char *> &columns) {
  to.calls->table(to.state, name, columns);
}
inline void write_row(const writer &to, const std::vector<cell> &cells) {
  to.calls->row(to.state, cells);
}
inline void write_field(const writer &to, const char *name, const cell &value) {
  to.calls->field(to.state, name, value);
}
inline void writer_close(const writer &to) {
  to.calls->close(to.state);
}

#endif
