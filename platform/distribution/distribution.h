// Configuration distribution (KDX): sessions in which the values of an application are collected, then committed or
// aborted.
//
// 1. The session is a plain record that its owner stores; every operation takes it as it is and gives it as it is to
//    be, or refuses with a status and gives nothing.
// 2. The values themselves belong to the application. What reaches beyond this switch goes through an engine.
#ifndef PLATFORM_DISTRIBUTION_DISTRIBUTION_H
#define PLATFORM_DISTRIBUTION_DISTRIBUTION_H

#include <stdint.h>

#include <string>
#include <vector>

struct distribution_session {
  uint64_t enabled = 0;       // 1: values are collected in a session and committed
  uint64_t show_running = 0;  // 1: readers want the running values and not the pending ones
  uint64_t open = 0;          // 1: a session is open, and this switch holds the lock
  uint64_t lost = 0;          // 1: it is open, but its lock is gone; the values are kept until it is opened again
  uint64_t number = 0;        // tells the session from all others of a fabric; 0: it needs no telling
  std::string owner;          // the user whose session it is; empty when none is open
  bool operator==(const distribution_session &) const = default;
};

// One value on its way to the other switches. VSAN 0 stands for the whole switch.
struct distribution_value {
  uint32_t vsan;
  uint32_t key;
  uint32_t value;
  bool operator==(const distribution_value &) const = default;
};

// What an engine answers when others have to be asked first. No client ever gets one of these as its status.
enum {
  kDistributionAgain = -2,    // the request is to be handled again when the engine tells that it is done
  kDistributionOutcome = -3,  // the request's status is the one that the engine tells then
};

// How this switch reaches the others. Each call returns 0, a status or one of the above; a call that fails has changed
// nothing.
struct distribution_engine {
  void *context;
  // The switch that holds the lock of the application, if it is not this one; else an empty text.
  std::string (*remote_holder)(void *context, const char *application);
  // Takes the lock for `session.owner`, or makes sure that it is held still. Fills the session's number.
  int (*lock)(void *context, const char *application, distribution_session &session);
  void (*unlock)(void *context, const char *application);
  // Hands the values to every switch, which is to take all of them or none: those that changed, and all of them as they
  // will be.
  int (*spread)(void *context, const char *application, const std::vector<distribution_value> &changed,
                const std::vector<distribution_value> &all);
  // 0, or the status for which distribution may not be turned off now, or the open session not be dropped.
  int (*may_disable)(void *context);
  int (*may_abort)(void *context);
};

// A fabric of one switch. The lock of another switch can be played, so that people can see what a remote lock does.
struct single_switch_fabric {
  std::string played_holder;
};
distribution_engine single_switch_engine(single_switch_fabric *fabric);

// Turns distribution on or off. An open session keeps it on (kStatusSessionOpen), and so may the engine.
int distribution_enable(const distribution_engine &engine, const distribution_session &now, bool enabled,
                        distribution_session &next);

// Opens a session for `user`, or goes on with the one that the user has; one whose lock was lost is opened anew, its
// values kept. Refused while distribution is off (kStatusDistributionOff), another user has a session
// (kStatusSessionOther), or another switch holds the lock.
int distribution_open(const distribution_engine &engine, const distribution_session &now, const std::string &user,
                      distribution_session &next);

// Commits the values of the open session, handing them to the other switches, and closes it. Anyone who may administer
// the switch may: the session of somebody who went home must not block everyone else. Refused when there is none
// (kStatusNoSession), and when its lock was lost (kStatusSessionLost): others may have changed the values since.
int distribution_commit(const distribution_engine &engine, const distribution_session &now,
                        const std::vector<distribution_value> &changed, const std::vector<distribution_value> &all,
                        distribution_session &next);

// Closes the open session; its values are to be dropped. Refused when there is none, and when the engine has reason to.
int distribution_abort(const distribution_engine &engine, const distribution_session &now, distribution_session &next);

// Gives the lock back after the closed session was stored, or after an opened one could not be.
void distribution_release(const distribution_engine &engine);

#endif
