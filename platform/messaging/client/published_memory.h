// The published page of the managers that this process talks to: getting it, and whether it may be answered from now.
#ifndef PLATFORM_MESSAGING_CLIENT_PUBLISHED_MEMORY_H
#define PLATFORM_MESSAGING_CLIENT_PUBLISHED_MEMORY_H

#include <stdint.h>
#include <sys/types.h>

#include "published_page.h"

// The page that the process `owner` publishes, when this process has it and it may be answered from for a service with
// this bit of `answered`: its owner lives, its loop turned lately, and no fault is on. Else null. Costs no system call.
const published_page *published_memory(pid_t owner, uint32_t bit);

// Told of each read that the process `owner` answered by an exchange: now and then, when there is no page of it, gets
// it. Never waits longer than some milliseconds.
void published_memory_seek(pid_t owner);

// Unmaps the page.
void published_memory_drop();

#endif
