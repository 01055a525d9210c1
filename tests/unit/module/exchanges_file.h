// The table of exchanges in include/platform/exchanges.md, for tests: EXCHANGES_FILE is its path.
#ifndef TESTS_UNIT_MODULE_EXCHANGES_FILE_H
#define TESTS_UNIT_MODULE_EXCHANGES_FILE_H

#include <gtest/gtest.h>
#include <stdint.h>

#include <fstream>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

using exchange_key = std::tuple<int, int, int>;  // service, opcode, type

struct exchange_row {
  uint32_t size;
  bool has_request;
  std::optional<uint32_t> least;  // none: no answer is wanted

  bool operator==(const exchange_row &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const exchange_row &row) {
  out << "size " << row.size << (row.has_request ? ", a request" : ", null") << ", ";
  return row.least ? out << "at least " << *row.least : out << "no answer";
}

// The rows of the table whose first cell is a receiver. No file fails the test.
inline std::map<exchange_key, exchange_row> written_table() {
  std::map<exchange_key, exchange_row> table;
  std::ifstream file(EXCHANGES_FILE);
  EXPECT_TRUE(file.good()) << EXCHANGES_FILE;
  for (std::string line; std::getline(file, line);) {
    std::vector<std::string> cells;
    std::istringstream in(line);
    for (std::string cell; std::getline(in, cell, '|');) {
      cells.push_back(cell);
    }
    if (cells.size() < 8 || cells[1].find_first_not_of(" 0123456789") != std::string::npos) {
      continue;
    }
    exchange_row row = {static_cast<uint32_t>(std::stoul(cells[4])), cells[5].find("null") == std::string::npos, {}};
    if (cells[6] != " - ") {
      row.least = static_cast<uint32_t>(std::stoul(cells[6]));
    }
    table[{std::stoi(cells[1]), std::stoi(cells[2]), std::stoi(cells[3])}] = row;
  }
  return table;
}

#endif
