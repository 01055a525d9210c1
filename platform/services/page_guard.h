// Keeps a process alive whose mapped page is cut by another: touching what is no longer there would end it.
#ifndef PLATFORM_SERVICES_PAGE_GUARD_H
#define PLATFORM_SERVICES_PAGE_GUARD_H

#include <stddef.h>

#include <atomic>

// Watches one mapping from now on, instead of the one before; null: none. A touch that the file cannot serve then finds
// zeros in place of the whole mapping, which is private from there on, and goes on. Other faults go where they went.
void page_guard_watch(void *at, size_t size);

// Whether that has happened to the mapping that is watched.
extern std::atomic<bool> page_guard_trip;
inline bool page_guard_tripped() {
  return page_guard_trip.load(std::memory_order_relaxed);  // set by a signal of the thread that asks
}

#endif
