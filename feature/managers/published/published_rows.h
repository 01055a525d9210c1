// Keeps the published page (published_page.h) like the state.
#ifndef FEATURE_MANAGERS_PUBLISHED_PUBLISHED_ROWS_H
#define FEATURE_MANAGERS_PUBLISHED_PUBLISHED_ROWS_H

#include <stdint.h>

#include <vector>

#include "state/switch_state.h"

struct published_page;

// Writes the whole state to a page of zeros that nobody reads yet.
void publish_state(published_page &page, const switch_state &state, bool remote_locked);

// The VSANs whose rows a change may alter; to be asked before the change is made true.
std::vector<uint32_t> vsans_touched(const switch_state &before, const switch_change &change);

// Brings the page up to date with a state in which `change` was made true. `touched` is what vsans_touched told.
void publish_change(published_page &page, const switch_state &state, const switch_change &change,
                    const std::vector<uint32_t> &touched, bool remote_locked);

// The same for a lock of another switch that came or went.
void publish_lock(published_page &page, bool remote_locked);

#endif
