// What the events of one handler call share: a reading of the clock and a look at the page, which cost more than all
// else of an event.
//
// Both are kept only while a PDU's handler runs, and are dropped where it begins, where it ends, and where it begins
// and ends to wait for an exchange. So neither is older than what the handler computed since. At other times every
// event reads the clock and looks at the page.
#ifndef PLATFORM_BASE_EVENT_CLOCK_H
#define PLATFORM_BASE_EVENT_CLOCK_H

#include <time.h>

// Of the one thread of a process that records events.
struct event_clock {
  bool shared = false;  // whether a handler runs
  bool read = false;    // whether there is a reading
  bool looked = false;  // whether the page was looked at
  timespec reading = {};
};
inline constinit event_clock clock_of_events;

// Drops what was read and seen: the next event reads and looks.
inline void event_clock_drop() {
  clock_of_events.read = false;
  clock_of_events.looked = false;
}

// A handler begins (true), or none runs from now on. Drops what was read and seen.
inline void event_clock_share(bool shared) {
  clock_of_events.shared = shared;
  event_clock_drop();
}

// The time of day, for an event.
inline timespec event_clock_read() {
  if (!clock_of_events.read) {
    clock_gettime(CLOCK_REALTIME, &clock_of_events.reading);
    clock_of_events.read = clock_of_events.shared;
  }
  return clock_of_events.reading;
}

// Drops where it begins and where it ends to be: around what waits.
struct event_clock_break {
  event_clock_break() { event_clock_drop(); }
  ~event_clock_break() { event_clock_drop(); }
  event_clock_break(const event_clock_break &) = delete;
  event_clock_break &operator=(const event_clock_break &) = delete;
};

#endif
