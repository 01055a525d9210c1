#include "store/store_digest.h"

#include <utility>

namespace {

constexpr char kNumber = 'n', kText = 't';
constexpr uint64_t kFnvStart = 0xcbf29ce484222325, kFnvPrime = 0x100000001b3;

void add_bytes(row_text &row, uint64_t value) {
  for (unsigned shift = 0; shift < 64; shift += 8) {
    row.bytes += static_cast<char>(value >> shift & 0xFF);
  }
}

// Sums of plain FNV hashes of like rows would be alike.
uint64_t stirred(uint64_t value) {
  value = (value ^ value >> 30) * 0xbf58476d1ce4e5b9;
  value = (value ^ value >> 27) * 0x94d049bb133111eb;
  return value ^ value >> 31;
}

void exchange_row(store_digest &digest, uint64_t key, std::optional<uint64_t> hash) {
  if (const auto found = digest.rows.find(key); found != digest.rows.end()) {
    digest.sum -= found->second;
    digest.rows.erase(found);
  }
  if (hash) {
    digest.sum += *hash;
    digest.rows[key] = *hash;
  }
}

}  // namespace

void row_text_add(row_text &row, int64_t value) {
  row.bytes += kNumber;
  add_bytes(row, static_cast<uint64_t>(value));
}

void row_text_add(row_text &row, std::string_view value) {
  row.bytes += kText;
  add_bytes(row, value.size());
  row.bytes += value;
}

uint64_t row_text_hash(const row_text &row) {
  uint64_t hash = kFnvStart;
  for (const char each : row.bytes) {
    hash = (hash ^ static_cast<unsigned char>(each)) * kFnvPrime;
  }
  return stirred(hash);
}

void digest_change(store_digest &digest, uint64_t key, std::optional<uint64_t> hash) {
  const auto found = digest.rows.find(key);
  digest.undo.emplace_back(key, found == digest.rows.end() ? std::nullopt : std::optional(found->second));
  exchange_row(digest, key, hash);
}

void digest_keep(store_digest &digest) {
  digest.undo.clear();
}

void digest_take_back(store_digest &digest) {
  for (; !digest.undo.empty(); digest.undo.pop_back()) {
    exchange_row(digest, digest.undo.back().first, digest.undo.back().second);
  }
}

int64_t digest_number(const store_digest &digest) {
  constexpr uint64_t kEightBytes = uint64_t{1} << 62, kPositive = ~(uint64_t{1} << 63);
  return static_cast<int64_t>((digest.sum & kPositive) | kEightBytes);
}
