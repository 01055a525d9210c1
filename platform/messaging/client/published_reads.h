// Reads answered from what the managers publish (published_page.h), as the managers answer them.
#ifndef PLATFORM_MESSAGING_CLIENT_PUBLISHED_READS_H
#define PLATFORM_MESSAGING_CLIENT_PUBLISHED_READS_H

#include <stdint.h>

#include "published_page.h"

// A request that wants an answer's payload. `payload` is null when it has none.
struct read_request {
  int service;
  int opcode;
  int msg_type;
  const void *payload;
  uint32_t size;  // of the payload
};

struct read_answer {
  int status;
  void *payload;  // `malloc`ed, for the caller to free; null unless `status` is 0
  uint32_t size;
};

// The bit of `answered` in the page under which the request is answered; 0 for what only the managers answer: writes,
// and what is not published.
uint32_t published_bit(const read_request &request);

// Answers a request that has a bit. Returns false when the manager must be asked: the request is one that it refuses
// and counts, the page was being changed at each of a few looks, or there is no memory.
bool published_read(const published_page &page, const read_request &request, read_answer *answer);

#endif
