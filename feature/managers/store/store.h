// The store: everything of the switch that survives a restart, in one SQLite file (WAL, synchronous=FULL).
//
// 1. A change is written in one transaction and is on the disk when `store_write` returns 0.
// 2. The schema's version is in the file. An older one is brought up to date when it is opened, a newer one is refused.
// 3. A store that is removed or replaced under the program takes no further change.
// 4. Failures give a text for people that names the file and the cause.
#ifndef FEATURE_MANAGERS_STORE_STORE_H
#define FEATURE_MANAGERS_STORE_STORE_H

#include <string>

#include "state/switch_state.h"

struct store;

// The schema's version that this program writes.
extern const int kStoreSchemaVersion;

// Opens the file, making it when it is absent. Returns null with `error` filled when it cannot be used: in use by
// another process, empty or damaged, no store of ours, of a newer schema, not writable. The store is to be closed with
// `store_close`.
store *store_open(const std::string &path, std::string &error);

// Null is allowed.
void store_close(store *opened);

// Reads everything into an empty state; a new store leaves it without VSANs. From then on the store is in service and
// may be written. Returns 0, or -1 with `error` filled when the file cannot be read, a row in it breaks a rule, or the
// rows are not those that were written; then the file is left as it is.
int store_load(store *opened, switch_state &state, std::string &error);

// Writes a completed change against the state as it is before it. Returns 0, or -1 with `error` filled and the store as
// it was.
int store_write(store *opened, const switch_state &before, const switch_change &change, std::string &error);

#endif
