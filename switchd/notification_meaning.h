// Notifications in words, for people.
#ifndef SWITCHD_NOTIFICATION_MEANING_H
#define SWITCHD_NOTIFICATION_MEANING_H

#include <string>

#include "state/switch_state.h"

// What the notification says, such as "fc1/3 moved from VSAN 10 to VSAN 20"; names are those of today.
std::string notification_meaning(const switch_state &state, const notification_record &record);

#endif
