// JSON for programs; docs/vsanctl.schema.json has every field.
#include <stdio.h>

#include <nlohmann/json.hpp>

#include "output/writer.h"

namespace {

using nlohmann::ordered_json;

struct json_state {
  ordered_json document = ordered_json::object();
  std::string table;
  std::vector<std::string> columns;
};

ordered_json value_of(const cell &cell) {
  return std::visit([](const auto &each) { return ordered_json(each); }, cell.value);
}

writer_state *json_open() {
  return new json_state;
}

void json_table(writer_state *opaque, const char *name, const std::vector<const char *> &columns) {
  auto *state = static_cast<json_state *>(opaque);
  state->table = name;
  state->columns.assign(columns.begin(), columns.end());
  state->document[name] = ordered_json::array();
}

void json_row(writer_state *opaque, const std::vector<cell> &cells) {
  auto *state = static_cast<json_state *>(opaque);
  ordered_json row = ordered_json::object();
  for (size_t i = 0; i < cells.size(); ++i) {
    row[state->columns[i]] = value_of(cells[i]);
  }
  state->document[state->table].push_back(std::move(row));
}

void json_field(writer_state *opaque, const char *name, const cell &value) {
  static_cast<json_state *>(opaque)->document[name] = value_of(value);
}

void json_close(writer_state *opaque) {
  auto *state = static_cast<json_state *>(opaque);
  // A name may hold octets that are no UTF-8; JSON cannot.
  printf("%s\n", state->document.dump(2, ' ', false, ordered_json::error_handler_t::replace).c_str());
  delete state;
}

}  // namespace

const writer_calls kJsonWriter = {json_open, json_table, json_row, json_field, json_close};
