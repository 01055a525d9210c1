// SQLite's log (-wal) of a store that was not closed, before SQLite sees it. SQLite takes a log up to its first unsound
// frame and forgets the rest; here a log that goes on behind such a frame is told from one that ends in an unfinished
// change. The format is https://sqlite.org/fileformat2.html#walformat.
#include <string.h>

#include <fstream>
#include <iterator>

#include "big_endian.h"
#include "store/store_internal.h"

namespace {

constexpr size_t kHeader = 32, kFrameHeader = 24, kSummedOfHeader = 24, kSummedOfFrame = 8;
constexpr uint32_t kMagic = 0x377f0682;  // the lowest bit tells the byte order of the sums
constexpr uint32_t kLeastPage = 512, kLargestPage = 65536;

// The running sum of everything so far, as the log has it beside each frame.
struct log_sum {
  uint32_t first = 0, second = 0;
  bool operator==(const log_sum &other) const = default;
};

struct log_reader {
  std::string bytes;
  bool big_endian = false;
  size_t frame_size = 0;
  log_sum sum;
};

const uint8_t *at(const log_reader &log, size_t place) {
  return reinterpret_cast<const uint8_t *>(log.bytes.data()) + place;
}

uint32_t summed_word(const log_reader &log, size_t place) {
  const uint32_t word = get_be32(at(log, place));
  return log.big_endian ? word : __builtin_bswap32(word);
}

log_sum sum_of(const log_reader &log, log_sum sum, size_t place, size_t size) {
  for (size_t i = 0; i < size; i += 8) {
    sum.first += summed_word(log, place + i) + sum.second;
    sum.second += summed_word(log, place + i + 4) + sum.first;
  }
  return sum;
}

log_sum written_sum(const log_reader &log, size_t place) {
  return {get_be32(at(log, place)), get_be32(at(log, place + 4))};
}

// Reads the header. Returns false when it is none.
bool read_header(log_reader &log) {
  const uint32_t magic = get_be32(at(log, 0)), page = get_be32(at(log, 8));
  log.big_endian = (magic & 1) != 0;
  log.sum = sum_of(log, {}, 0, kSummedOfHeader);
  log.frame_size = kFrameHeader + page;
  const bool is_page = page >= kLeastPage && page <= kLargestPage && (page & (page - 1)) == 0;
  return (magic & ~1U) == kMagic && is_page && log.sum == written_sum(log, kSummedOfHeader);
}

// A frame of this log and not of one that was here before.
bool is_own_frame(const log_reader &log, size_t frame) {
  constexpr size_t kSaltOfHeader = 16, kSaltOfFrame = 8, kSaltSize = 8;
  return memcmp(at(log, frame + kSaltOfFrame), at(log, kSaltOfHeader), kSaltSize) == 0;
}

bool ends_change(const log_reader &log, size_t frame) {
  return get_be32(at(log, frame + 4)) != 0;
}

// The place of the first frame that is unsound.
size_t sound_until(log_reader &log) {
  size_t frame = kHeader;
  for (; frame + log.frame_size <= log.bytes.size() && is_own_frame(log, frame); frame += log.frame_size) {
    log_sum sum = sum_of(log, log.sum, frame, kSummedOfFrame);
    sum = sum_of(log, sum, frame + kFrameHeader, log.frame_size - kFrameHeader);
    if (!(sum == written_sum(log, frame + kFrameHeader - 8))) {
      break;
    }
    log.sum = sum;
  }
  return frame;
}

// Whether a change was begun after another had ended, both behind this place: what ended was on the disk before, with
// all that stands in front of it. The unfinished change of a machine that lost its power is followed by none.
bool goes_on_behind(const log_reader &log, size_t place) {
  bool ended = false;
  for (size_t frame = place; frame + log.frame_size <= log.bytes.size(); frame += log.frame_size) {
    if (!is_own_frame(log, frame)) {
      continue;
    }
    if (ended) {
      return true;
    }
    ended = ends_change(log, frame);
  }
  return false;
}

// What is wrong with the log; empty when it can be taken to its end.
std::string log_problem(log_reader &log) {
  // The header is on the disk before the first frame.
  if (log.bytes.size() <= kHeader + kFrameHeader) {
    return "";
  }
  if (!read_header(log)) {
    return "the header of the store's log is damaged, and what is behind it cannot be read";
  }
  return goes_on_behind(log, sound_until(log))
             ? "the store's log is damaged before its end, and changes that were acknowledged are behind it"
             : "";
}

}  // namespace

bool store_log_is_sound(const std::string &log_path, std::string &error) {
  std::ifstream file(log_path, std::ios::binary);
  log_reader log;
  log.bytes.assign(std::istreambuf_iterator<char>(file), {});
  const std::string problem = log_problem(log);
  if (!problem.empty()) {
    error = log_path + ": " + problem +
            ": put a backup in the store's place and remove the log, or remove the log to start without what is in it";
  }
  return problem.empty();
}
