// Events of libevent with an owner.
#ifndef PLATFORM_EVENTS_EVENT_PTR_H
#define PLATFORM_EVENTS_EVENT_PTR_H

#include <event2/event.h>

#include <memory>

struct event_deleter {
  void operator()(event *owned) const { event_free(owned); }
};
using event_ptr = std::unique_ptr<event, event_deleter>;

#endif
