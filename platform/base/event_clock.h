// The clock of events: those of one handler call share one reading, which costs more than all else of an event.
//
// The reading is kept only while a PDU's handler runs, and is dropped where the handler begins, where it ends, and
// where it begins and ends to wait for an exchange. So a stamp is never older than what the handler computed since.
#ifndef PLATFORM_BASE_EVENT_CLOCK_H
#define PLATFORM_BASE_EVENT_CLOCK_H

#include <time.h>

// Of the one thread of a process that records events.
struct event_clock {
  bool shared = false;  // whether events share a reading
  bool read = false;    // whether there is one
  timespec reading = {};
};
inline constinit event_clock clock_of_events;

// Drops the reading: the next event reads the clock.
inline void event_clock_drop() {
  clock_of_events.read = false;
}

// Whether events share a reading from now on. Drops the one there is.
inline void event_clock_share(bool shared) {
  clock_of_events.shared = shared;
  event_clock_drop();
}

// The time of day, for an event. Returns whether the clock was read for it.
inline bool event_clock_read(timespec *now) {
  if (clock_of_events.read) {
    *now = clock_of_events.reading;
    return false;
  }
  clock_gettime(CLOCK_REALTIME, now);
  clock_of_events.reading = *now;
  clock_of_events.read = clock_of_events.shared;
  return true;
}

// Drops the reading where it begins and where it ends to be: around what waits.
struct event_clock_break {
  event_clock_break() { event_clock_drop(); }
  ~event_clock_break() { event_clock_drop(); }
  event_clock_break(const event_clock_break &) = delete;
  event_clock_break &operator=(const event_clock_break &) = delete;
};

#endif
