// What `vsanctl show` can show: a procedure each, which writes everything it has to the writer.
#ifndef VSANCTL_SHOW_SHOWS_H
#define VSANCTL_SHOW_SHOWS_H

#include <stdint.h>

#include "output/writer.h"

// What a `show` was asked for.
struct show_options {
  uint32_t vsan = 0;     // 0: all
  bool pending = false;  // timers as a commit would leave them
};

void show_vsan(const writer &to, const show_options &options);
void show_interface(const writer &to, const show_options &options);
void show_membership(const writer &to, const show_options &options);
void show_timers(const writer &to, const show_options &options);
void show_kdx(const writer &to, const show_options &options);
void show_fabric(const writer &to, const show_options &options);
void show_switch(const writer &to, const show_options &options);
void show_levels(const writer &to, const show_options &options);
void show_errors(const writer &to, const show_options &options);
void show_notifications(const writer &to, const show_options &options);
void show_status(const writer &to, const show_options &options);

#endif
