// The page that the processes of one switch share: `switch.page` in the run directory.
//
// 1. It holds the state of configuration distribution, the level switches of event history and debug printing, the
//    event history itself, and the last errors of SNMP users. Readers never stop a writer, and writers never wait.
// 2. switchd owns it: only switchd makes it, mode 0660. Everyone else maps it on first use, and again within a second
//    after the file was replaced; a PDU's handler that is at work goes on in the old one until its next exchange.
//    platform_page_open is for those who want to know why it cannot be. It is in the byte order of the host that made
//    it, and of no use to a process of the other one.
// 3. Each process uses it from one thread. Numbers are counted modulo 2^32.
#ifndef SWITCHPLATFORM_SHARED_PAGE_H
#define SWITCHPLATFORM_SHARED_PAGE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  kEventTextSize = 512,  // a longer text is cut
  kErrorTextSize = 256,
  kErrorUserSize = 64,
  kErrorValueSize = 64,
  kErrorObjectMax = 8,
  kErrorsKept = 128,
  kLevelMax = 255,  // levels are 0 to 255
};

// Maps the page of the run directory. Returns 0, or -1 with `errno`: ENOENT when switchd has made none, EILSEQ for one
// of the other byte order, EPROTO for one of a foreign version or size, ELOOP for a symbolic link, which is not
// followed, else what open or mmap said.
int platform_page_open(void);

// The same for its owner, switchd: a page that is absent, foreign, or cannot be opened or given to `group` (a gid; -1:
// leave the group as it is) is replaced by a new one. Processes that have the old one mapped keep it intact. Returns 0,
// or -1 with `errno`.
int platform_page_own(int64_t group);

// For the owner, now and then: makes a new page when the one in use was removed, replaced or cut. Returns 1 when it
// did, so that what was published is published again; 0 when all is well; -1 with `errno`.
int platform_page_keep(void);

// From now on, while switchd's page cannot be mapped, this process uses a page of its own in the file `path`, which it
// makes when need be; an empty path: no longer. Switchd's page is taken within a second once it is to be had. Other
// processes may use the same file: the page is made for many writers. What was a page before, of any version and byte
// order, and an empty file are replaced; another file is left alone, and nothing is kept then. The distribution state
// in such a page is not known. Returns 0, or -1 with `errno` ENAMETOOLONG.
int platform_page_fall_back(const char *path);

// From now on this process uses the page in the file `path` instead of the run directory's; an empty path: no longer.
// Nobody but switchd or an agent makes it. Returns 0, or -1 with `errno` ENAMETOOLONG.
int platform_page_at(const char *path);

// Which page is in use.
typedef struct {
  int shared;      // 1: switchd's
  int own;         // 1: the one that platform_page_fall_back names; neither: none
  int why;         // unless `shared`: why switchd's is not, an `errno` as platform_page_open has it
  int why_no_own;  // the same of the own one, when one was wanted: EEXIST when another file is in its place, EINVAL
                   // when its name is that of switchd's; 0 when none was wanted, or it is in use
} platform_page_report;

// Fills `report`, after a look for the page unless there was one in this second.
void platform_page_tell(platform_page_report *report);

// Unmaps the page. The file stays. The next use maps it again.
void platform_page_close(void);

// Publishes the distribution state, which is_kdx_enabled and get_kdx_show_run_mode answer from here. `application` is
// "fctimer"; `enabled` is 0 or 1; `show_run_mode` is 0 (reads show pending values) or 1 (reads show the running ones).
// Returns 0, or -1 with `errno`: EINVAL for another application or value, else what kept the page from being opened.
int platform_kdx_publish(const char *application, int enabled, int show_run_mode);

// The state that was published. Returns 0 with both filled, 0 or 1, and the number of the process that published it, or
// -1 with `errno`: EINVAL for another application, ENODATA when the page does not know it, as a new one and one of the
// process's own, else what kept the page from being opened.
int platform_kdx_published(const char *application, int *enabled, int *show_run_mode, uint32_t *publisher);

// Whether the distribution state was last asked of the switch although a page has it: another process published it than
// the one that answers requests, as on a page that was left by a switch that is gone. Returns 1 or 0.
int platform_page_is_of_another(void);

// The two switches that each level has: whether its events are recorded, and whether they are printed.
enum { kLevelRecorded = 0, kLevelPrinted = 1 };

// Whether the switch `which` of `level` is on: 1 or 0; -1 with `errno` as platform_kdx_publish has it.
int platform_level_get(int which, int level);

// Turns the switch `which` of `level` on (non-zero) or off, for all processes at once. Returns 0, or -1 with `errno`.
// In a new page levels 100 to 102 are recorded, and nothing is printed.
int platform_level_set(int which, int level, int on);

// Events of the agent extension that say whose requests the next events of its process belong to:
// requests of user "NAME" at ADDRESS.
enum { kUserMarkModule = 0x740000, kUserMarkLevel = 102 };

// One event as it is read. Times are since the epoch.
typedef struct {
  uint32_t number;  // events are numbered from 1
  uint32_t seconds;
  uint32_t nanoseconds;
  uint32_t pid;
  uint32_t module_id;
  uint32_t level;
  char text[kEventTextSize];  // NUL-terminated
} platform_event;

// A reader's place in the history. Its owner may copy it; only `lost` is for the owner to look at.
typedef struct {
  uint32_t page;  // which page `next` counts in
  uint32_t next;  // the number of the next event to read
  uint32_t lost;  // events that were overwritten or dropped before they were read
} platform_event_reader;

// Puts the reader before the last `last` events that are still there (0: follow from now on; UINT32_MAX: all of them).
// Returns 0, or -1 with `errno`.
int platform_events_open(platform_event_reader *reader, uint32_t last);

// Reads the next event. Returns 1, or 0 when there is none yet (try again later to follow), or -1 with `errno` when
// there is no page. May wait up to 20 ms for an event that is being written. When the page was replaced, goes on with
// the first event of the new one.
int platform_events_next(platform_event_reader *reader, platform_event *event);

typedef struct {
  uint32_t written;  // the number of the newest event
  uint32_t dropped;  // events that found their place taken by a stalled writer
  uint32_t kept;     // how many events the history holds at most
} platform_event_counters;

// Fills `counters`. Returns 0, or -1 with `errno`.
int platform_events_counters(platform_event_counters *counters);

// One error of an SNMP user.
typedef struct {
  uint32_t number;                   // set by the page, counted from 1
  uint32_t seconds;                  // since the epoch; set by the page
  uint32_t pdu;                      // get_pdu_reqid of the PDU; 0 outside one
  uint32_t code;                     // a status
  int32_t detail;                    // as log_set_error has it; 0 when there is none
  uint32_t snmp_error;               // what the client was told, such as 10 (wrongValue); 0 when that is not known
  uint32_t phase;                    // a kErrorPhase...; 0 when that is not known
  uint32_t object_length;            // numbers in `object`; 0 when no object is known
  uint32_t object[kErrorObjectMax];  // the object's name under the switch's root, the instance behind it; cut
  char user[kErrorUserSize];         // NUL-terminated
  char text[kErrorTextSize];         // NUL-terminated
  char value[kErrorValueSize];       // what was to be set, as people write it; cut; NUL-terminated
} platform_error;

// In which phase of a request an error came.
enum {
  kErrorPhaseRead = 1,
  kErrorPhaseReserve1,
  kErrorPhaseReserve2,
  kErrorPhaseAction,
  kErrorPhaseCommit,
};

// Keeps an error. A later one of the same user, PDU and object takes its place, and that of one whose object is not
// known. Returns 0, or -1 with `errno`.
int platform_errors_write(const platform_error *error);

// Reads the errors that are kept, newest first, one for each user, PDU and object, into `errors`, which has room for
// `room` of them (kErrorsKept is always enough). Returns how many were read, or -1 with `errno`.
int platform_errors_read(platform_error *errors, int room);

#ifdef __cplusplus
}
#endif

#endif
