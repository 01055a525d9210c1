// The table as a program that the agent asks over pipes, line by line (pass_persist): how many rows.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "bench_rows.h"

namespace {

constexpr char kEntryText[] = ".1.3.6.1.4.1.32473.9.282.1.1.3.1";

std::vector<bench::row> rows;  // VSAN v is rows[v - 1]

struct place {
  size_t column;  // in bench::kColumns
  unsigned long vsan;
};

// The cell that an OID names, or with `next` the one after it. Returns whether there is one.
bool find_place(const char *name, bool next, place &found) {
  unsigned long number = 0, vsan = 0;
  const size_t prefix = sizeof kEntryText - 1;
  const bool below = strncmp(name, kEntryText, prefix) == 0;
  const int given = below ? sscanf(name + prefix, ".%lu.%lu", &number, &vsan) : 0;
  if (!next) {
    for (found = {0, vsan}; found.column < std::size(bench::kColumns); ++found.column) {
      if (bench::kColumns[found.column].number == number) {
        return given == 2 && vsan >= 1 && vsan <= rows.size();
      }
    }
    return false;
  }
  found = {0, 1};
  while (found.column < std::size(bench::kColumns) && bench::kColumns[found.column].number < number) {
    ++found.column;
  }
  if (found.column < std::size(bench::kColumns) && bench::kColumns[found.column].number == number && given == 2) {
    found.vsan = vsan + 1;
  }
  if (found.vsan > rows.size()) {
    found = {found.column + 1, 1};
  }
  return found.column < std::size(bench::kColumns) && !rows.empty();
}

void print_cell(const place &at) {
  const bench::column &column = bench::kColumns[at.column];
  const bench::row &row = rows[at.vsan - 1];
  printf("%s.%u.%lu\n", kEntryText, column.number, at.vsan);
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
    const auto word = static_cast<uint32_t>(strtoul(value.c_str(), nullptr, 10));
    return bench::store_value(rows[at.vsan - 1], column, &word, sizeof word);
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
  const bool found = find_place(name.c_str(), command == "getnext", at);
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
