// Reads a store that a switch has open, by the sqlite3 that labs take: what SQLite keeps beside the file is in host
// order, which a library of another order than the switch's would make anew, for both.
#ifndef TESTS_MODEL_STORE_READER_H
#define TESTS_MODEL_STORE_READER_H

#include <stdio.h>
#include <sys/types.h>

#include <string>

namespace store_reader {

struct reader {
  pid_t pid = 0;
  FILE *to = nullptr;
  FILE *from = nullptr;

  reader() = default;
  reader(const reader &) = delete;
  reader &operator=(const reader &) = delete;
  ~reader();  // ends the program
};

// Starts it on the file, read-only. Throws std::runtime_error when that fails.
void start(reader &r, const std::string &path);

// The rows of the queries, each of which ends with a semicolon: columns are parted by "|", and lines end a row. What
// SQLite complains of is a line, too. Throws when the program has ended.
std::string rows(reader &r, const std::string &queries);

}  // namespace store_reader

#endif
