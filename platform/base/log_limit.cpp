#include "log_limit.h"

namespace {

void fill(log_limit *limit, int64_t now) {
  const int64_t passed = now - limit->filled_at;
  limit->filled_at = now;
  const int64_t lines = passed > kLogLinesAtOnce ? kLogLinesAtOnce : limit->lines + passed;
  limit->lines = lines > kLogLinesAtOnce ? kLogLinesAtOnce : static_cast<uint32_t>(lines);
}

}  // namespace

bool log_limit_take(log_limit *limit, int64_t now, uint32_t *left_out) {
  fill(limit, now);
  if (limit->lines == 0) {
    ++limit->left_out;
    return false;
  }
  --limit->lines;
  *left_out = limit->left_out;
  limit->left_out = 0;
  return true;
}
