// The table as a program that the agent asks over pipes, line by line (pass_persist): how many rows.
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "bench_rows.h"
#include "number_text.h"

namespace {

constexpr std::string_view kEntryText = ".1.3.6.1.4.1.32473.9.282.1.1.3.1";

std::vector<bench::row> rows;  // VSAN v is rows[v - 1]

struct place {
  size_t column;  // in bench::kColumns
  unsigned long vsan;
};

// Takes a number that follows a dot off `rest`; 0 when there is none.
unsigned long take_number(std::string_view &rest) {
  unsigned long number = 0;
  const size_t end = std::min(rest.find('.', 1), rest.size());
  if (rest.empty() || rest[0] != '.' || !bench::read_number(rest.substr(1, end - 1), number)) {
    return 0;
  }
  rest.remove_prefix(end);
  return number;
}

// The cell that an OID names, or with `next` the one after it. Returns whether there is one.
bool find_place(std::string_view name, bool next, place &found) {
  const bool below = name.substr(0, kEntryText.size()) == kEntryText;
  name.remove_prefix(below ? kEntryText.size() : name.size());
  const unsigned long number = take_number(name);
  const unsigned long vsan = take_number(name);
  found = {0, vsan};
  while (found.column < std::size(bench::kColumns) && bench::kColumns[found.column].number < number) {
    ++found.column;
  }
  const bool in_column = found.column < std::size(bench::kColumns) && bench::kColumns[found.column].number == number;
  if (!next) {
    return in_column && vsan >= 1 && vsan <= rows.size();
  }
  found.vsan = in_column ? vsan + 1 : 1;
  if (found.vsan > rows.size()) {
    found = {found.column + 1, 1};
  }
  return found.column < std::size(bench::kColumns);
}

void print_cell(const place &at) {
  const bench::column &column = bench::kColumns[at.column];
  const bench::row &row = rows[at.vsan - 1];
  printf("%s.%u.%lu\n", kEntryText.data(), column.number, at.vsan);
  if (column.word == nullptr) {
    printf("string\n%s\n", row.name);
  } else {
    printf("%s\n%u\n", column.type == bench::kGauge ? "gauge" : "integer", row.*column.word);
  }
}

// "TYPE VALUE", a text in quotes.
bool write_cell(const place &at, const std::string &line) {
  const size_t blank = line.find(' ');
  if (blank == std::string::npos) {
    return false;
  }
  std::string value = line.substr(blank + 1);
  const bench::column &column = bench::kColumns[at.column];
  if (column.word != nullptr) {
    uint32_t word = 0;
    return bench::read_number(value, word) && bench::store_value(rows[at.vsan - 1], column, &word, sizeof word);
  }
  if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
    value = value.substr(1, value.size() - 2);
  }
  return bench::store_value(rows[at.vsan - 1], column, value.data(), value.size());
}

bool read_line(std::string &line) {
  char buffer[512];
  if (fgets(buffer, sizeof buffer, stdin) == nullptr) {
    return false;
  }
  buffer[strcspn(buffer, "\n")] = '\0';
  line = buffer;
  return true;
}

void serve(const std::string &command) {
  std::string name, value;
  place at = {};
  if (!read_line(name) || (command == "set" && !read_line(value))) {
    return;
  }
  const bool found = find_place(name, command == "getnext", at);
  if (command == "set") {
    puts(found && write_cell(at, value) ? "DONE" : "not-writable");
  } else if (found) {
    print_cell(at);
  } else {
    puts("NONE");
  }
}

}  // namespace

int main(int argc, char **argv) {
  rows = bench::rows_up_to(argc == 2 ? bench::rows_wanted(argv[1]) : 0);
  if (rows.empty()) {
    fprintf(stderr, "usage: bench_pass ROWS\n");
    return 2;
  }
  for (std::string command; read_line(command);) {
    if (command == "PING") {
      puts("PONG");
    } else if (!command.empty()) {  // the agent ends some values with a line too many
      serve(command);
    }
    fflush(stdout);
  }
  return 0;
}
