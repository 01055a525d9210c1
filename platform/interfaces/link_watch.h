// When each interface went up or down, as the agent saw it, and the traps that tell of it.
#ifndef PLATFORM_INTERFACES_LINK_WATCH_H
#define PLATFORM_INTERFACES_LINK_WATCH_H

#include <stdint.h>

#include "port_records.h"

// Looks at the interfaces every second from now on, and sends linkUp and linkDown for what has changed. The first look
// sends nothing. What was seen before a stop is remembered.
void link_watch_start();
void link_watch_stop();

// Looks now, unless nothing can have changed since the last look. Sends traps as well.
void link_watch_look();

// Notes the state of an interface that was read just now: no read and no trap tell of it with an older time.
void link_note(const switch_interface &interface);

// sysUpTime, in hundredths of a second, when the interface, which was read just now, got into the state that it is in;
// 0 when it was in it before the agent saw it first.
uint32_t link_since(const switch_interface &interface);

// The same for the last time that an interface came or went.
uint32_t link_table_since();

#endif
