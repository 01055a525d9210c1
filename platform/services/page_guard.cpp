#include "page_guard.h"

#include <signal.h>
#include <stdint.h>
#include <sys/mman.h>

namespace {

std::atomic<void *> watched_at;
std::atomic<size_t> watched_size;
struct sigaction handler_before;

bool is_watched(const void *at) {
  const auto start = reinterpret_cast<uintptr_t>(watched_at.load());
  const auto address = reinterpret_cast<uintptr_t>(at);
  return start != 0 && address >= start && address - start < watched_size.load();
}

void pass_on(int number, siginfo_t *info, void *context) {
  if ((handler_before.sa_flags & SA_SIGINFO) != 0 && handler_before.sa_sigaction != nullptr) {
    return handler_before.sa_sigaction(number, info, context);
  }
  // Default or ignored: the touch is made again, and ends the process as it would have; a signal that was sent is
  // again.
  sigaction(SIGBUS, &handler_before, nullptr);
  if (info->si_code <= 0) {
    raise(number);
  }
}

// Makes system calls only. Once zeros are there, the touch is made again and succeeds.
void on_bus_error(int number, siginfo_t *info, void *context) {
  if (!is_watched(info->si_addr)) {
    return pass_on(number, info, context);
  }
  if (mmap(watched_at.load(), watched_size.load(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1,
           0) == MAP_FAILED) {
    return pass_on(number, info, context);
  }
  page_guard_trip.store(true);
}

bool install() {
  struct sigaction handler = {};
  handler.sa_sigaction = on_bus_error;
  handler.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&handler.sa_mask);
  return sigaction(SIGBUS, &handler, &handler_before) == 0;
}

}  // namespace

std::atomic<bool> page_guard_trip;

void page_guard_watch(void *at, size_t size) {
  static const bool installed = install();
  watched_at.store(installed ? at : nullptr);
  watched_size.store(size);
  page_guard_trip.store(false);
}
