// What a fabric keeps in etcd, below one prefix, as JSON texts. Whatever a switch holds hangs on a lease that dies with
// it; what was committed stays.
#ifndef PLATFORM_FABRIC_FABRIC_RECORDS_H
#define PLATFORM_FABRIC_FABRIC_RECORDS_H

#include <stdint.h>

#include <string>
#include <vector>

#include "distribution.h"

// Who holds the lock, under kdx/fctimer/lock.
struct fabric_lock {
  std::string wwn;
  std::string switch_name;
  std::string user;
  uint64_t session = 0;
  int64_t modified = 0;  // revision; 0: nobody holds it
  int64_t lease = 0;
  bool operator==(const fabric_lock &) const = default;
};

// All distributed values as of the last commit, under kdx/fctimer/values.
struct fabric_commit {
  uint64_t number = 0;    // counts from 1; 0: nothing was ever committed
  uint64_t revision = 0;  // etcd's, not in the text
  std::string wwn;
  std::string switch_name;
  std::string user;
  uint64_t session = 0;
  int64_t at = 0;  // milliseconds since the epoch, by the committer's clock
  std::vector<distribution_value> timers;
};

// A living switch, under switches/<wwn>.
struct fabric_switch {
  std::string name;
  std::string wwn;
  std::string version;
  int64_t pid = 0;
  uint64_t store = 0;  // tells it from another switch with the same world wide name
  uint64_t revision = 0;
  uint64_t commit = 0;
  int64_t applied_at = 0;  // milliseconds since the epoch
  bool operator==(const fabric_switch &) const = default;
};

// The keys of the fabric `name`.
struct fabric_keys {
  std::string prefix;    // of all
  std::string id;        // tells the fabric from one of the same name that was made anew
  std::string switches;  // prefix of the living switches
  std::string members;   // prefix of those that joined
  std::string shared;    // prefix of the three that follow
  std::string lock;
  std::string values;
  std::string commits;  // prefix of the last commits
};
fabric_keys fabric_keys_of(const std::string &name);
std::string fabric_commit_key(const fabric_keys &keys, uint64_t number);

std::string fabric_lock_text(const fabric_lock &lock);
// `modified` and `lease` are the caller's to fill. An unreadable text gives a lock of nobody that is known.
fabric_lock fabric_lock_of(const std::string &text);

std::string fabric_commit_text(const fabric_commit &commit);
// As it is kept of each of the last commits: with what it changed instead of all values.
std::string fabric_commit_summary(const fabric_commit &commit, const std::vector<distribution_value> &changed);
// Returns false when the text is none of a commit.
bool fabric_commit_of(const std::string &text, fabric_commit &commit);

std::string fabric_switch_text(const fabric_switch &member);
fabric_switch fabric_switch_of(const std::string &text);

// Sessions as they are written: sixteen hexadecimal digits.
std::string fabric_session_text(uint64_t session);

#endif
