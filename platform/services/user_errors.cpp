// The last errors of SNMP users.
#include <string.h>
#include <time.h>

#include "epoch_seconds.h"
#include "page_layout.h"

namespace {

constexpr uint32_t kErrorRecordWords = kErrorSlotWords - kSlotOverheadWords;

struct error_texts {
  char user[kErrorUserSize];
  char text[kErrorTextSize];
  char value[kErrorValueSize];
};

template <size_t room>
void copy_text(char (&to)[room], const char (&from)[room]) {
  memcpy(to, from, room);
  to[room - 1] = '\0';
}

void fill_error(const uint32_t *record, uint32_t number, platform_error *error) {
  error_texts texts;
  memcpy(&texts, record + kErrorHeadWords, sizeof texts);
  *error = {};
  error->number = number;
  error->seconds = record[0];
  error->pdu = record[2];
  error->code = record[3];
  error->detail = static_cast<int32_t>(record[4]);
  error->snmp_error = record[5];
  error->phase = record[6];
  error->object_length = record[7] < kErrorObjectMax ? record[7] : uint32_t{kErrorObjectMax};
  memcpy(error->object, record + 8, sizeof error->object);
  copy_text(error->user, texts.user);
  copy_text(error->text, texts.text);
  copy_text(error->value, texts.value);
}

bool same_object(const platform_error &a, const platform_error &b) {
  return a.object_length == b.object_length && memcmp(a.object, b.object, a.object_length * sizeof a.object[0]) == 0;
}

// PDU numbers are unique in one agent only.
bool has_newer(const platform_error *errors, const uint32_t *pids, int count, const platform_error &error,
               uint32_t pid) {
  for (int i = 0; i < count; ++i) {
    if (error.pdu != 0 && errors[i].pdu == error.pdu && pids[i] == pid && strcmp(errors[i].user, error.user) == 0 &&
        (error.object_length == 0 || same_object(errors[i], error))) {
      return true;
    }
  }
  return false;
}

}  // namespace

int platform_errors_write(const platform_error *error) {
  switch_page *page = page_in_use();
  if (page == nullptr) {
    return -1;
  }
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  uint32_t head[kErrorHeadWords] = {
      epoch_seconds(now.tv_sec), page_user_pid, error->pdu,          error->code, static_cast<uint32_t>(error->detail),
      error->snmp_error,         error->phase,  error->object_length};
  memcpy(head + 8, error->object, sizeof error->object);
  error_texts texts;
  copy_text(texts.user, error->user);
  copy_text(texts.text, error->text);
  copy_text(texts.value, error->value);
  slot_ring_write(error_ring(page), head, kErrorHeadWords, &texts, sizeof texts);
  return 0;
}

int platform_errors_read(platform_error *errors, int room) {
  switch_page *page = page_in_use();
  if (page == nullptr) {
    return -1;
  }
  const uint32_t newest = page->error_counters.newest.load(std::memory_order_acquire);
  const uint32_t there = newest < kErrorSlots ? newest : kErrorSlots;
  uint32_t record[kErrorRecordWords];
  uint32_t pids[kErrorsKept];
  int count = 0;
  for (uint32_t back = 0; back < there && count < room; ++back) {
    if (slot_ring_read(error_ring(page), newest - back, record) != slot_state::read) {
      continue;
    }
    platform_error error;
    fill_error(record, newest - back, &error);
    if (has_newer(errors, pids, count, error, record[1])) {
      continue;
    }
    errors[count] = error;
    pids[count++] = record[1];
  }
  return count;
}
