// The page for what is asked at every event.
#ifndef PLATFORM_SERVICES_PAGE_GLANCE_H
#define PLATFORM_SERVICES_PAGE_GLANCE_H

#include "event_clock.h"
#include "page_guard.h"
#include "page_layout.h"

// What page_in_use found last; null: nothing.
extern switch_page *page_found;

// The same as page_in_use, but while a handler runs it looks for the page only once, and again when the page was cut.
inline switch_page *page_at_a_glance() {
  return clock_of_events.looked && !page_guard_tripped() ? page_found : page_in_use();
}

#endif
