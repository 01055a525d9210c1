// The request channel: one exchange with a manager a call.
#ifndef FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_EXCHANGE_H
#define FEATURE_VSAN_MANAGER_MIB_MODULE_FRAME_EXCHANGE_H

#include <stdint.h>
#include <stdlib.h>

#include <memory>

#include "requests.h"

namespace vsan_mib {

struct free_buffer {
  void operator()(void *buffer) const { free(buffer); }
};
using response_ptr = std::unique_ptr<void, free_buffer>;

struct answer {
  int status;            // 0, a manager's status, or -1 with `errno`
  response_ptr payload;  // may be there although the status is not 0, and missing although it is
  uint32_t size;         // of the payload, as the platform says

  bool complete() const { return status == 0 && payload != nullptr; }
};

// Who asks, and whom. Reads are made in nobody's name.
struct exchange_party {
  const char *user = nullptr;
  const char *session = nullptr;
  int service = kServiceVsanManager;
};

// Asks with `size` bytes of request; when `request` is null with none, `size` being the answer's expected size. An
// answer that is shorter than the `needed` bytes that the caller is about to copy counts as a broken exchange: -1
// with `errno` EPROTO. `errno` is kept until the caller has reported it.
answer ask(int opcode, int msg_type, void *request, uint32_t size, uint32_t needed, const exchange_party &party = {});

// How long an exchange is waited for, in seconds: as a rule, and for what the manager is slow to apply.
enum { kTimeout = 4, kBlockingTimeout = 10 };

// Sends `size` bytes of a write in the name of the PDU's user and wants no payload back. `timeout` is in seconds.
// Returns the status.
int tell(int opcode, int msg_type, void *request, uint32_t size, int timeout);

}  // namespace vsan_mib

#endif
