// One number for all rows of the store: the sum of a hash of each row, kept up with every change and stored with it. A
// file whose rows give another number is not what was written.
#ifndef FEATURE_MANAGERS_STORE_STORE_DIGEST_H
#define FEATURE_MANAGERS_STORE_STORE_DIGEST_H

#include <stddef.h>
#include <stdint.h>

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// The hashed bytes of one row, from its table on: each value with its type, so that no two rows are one text.
struct row_text {
  explicit row_text(char table) : bytes(1, table) {}
  std::string bytes;
};
void row_text_add(row_text &row, int64_t value);
void row_text_add(row_text &row, std::string_view value);
uint64_t row_text_hash(const row_text &row);

// The digest, and what it is made of. Rows are known by the hash of their table and key.
struct store_digest {
  uint64_t sum = 0;
  std::unordered_map<uint64_t, uint64_t> rows;
  // What the rows were before the change that is under way, in the order in which they changed.
  std::vector<std::pair<uint64_t, std::optional<uint64_t>>> undo;
};

// A row is put or, without a hash, removed. Removing one that is not there is no change.
void digest_change(store_digest &digest, uint64_t key, std::optional<uint64_t> hash);
// The change is done, or taken back.
void digest_keep(store_digest &digest);
void digest_take_back(store_digest &digest);

// As it is stored: never 0, and always of eight bytes.
int64_t digest_number(const store_digest &digest);

#endif
