// The memory in which the managers publish their state, and its hand-over to those who read it.
#ifndef SWITCHD_PUBLISHED_SERVER_H
#define SWITCHD_PUBLISHED_SERVER_H

#include <stdint.h>

struct event_base;
struct published_page;
struct published_server;

// Makes the page, which nobody may answer from yet, and hands it to whoever connects to kServicePublished and may. The
// caller fills it before the loop turns. `on_beat` is called with `context` ahead of each beat. Returns null with
// `errno`: also where the kernel cannot seal memory or does not note the death of who holds a mutex, without which
// nobody may trust it.
published_server *published_server_open(event_base *base, const char *run_dir, void (*on_beat)(void *context),
                                        void *context);

published_page &published_server_page(published_server *server);

// From now on readers may be answered for the services with these bits (published_page.h), and for no others.
void published_server_answer(published_server *server, uint32_t services);

// A request was served: readers may be there, and are shown for a while that the loop turns. A switch of which nobody
// asks anything sleeps.
void published_server_beat(published_server *server);

// Readers find at once that the page is nobody's. Null is allowed.
void published_server_close(published_server *server);

#endif
