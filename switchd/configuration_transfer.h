// The configuration on its way to and from clients: a topology file in pieces that fit a message.
#ifndef SWITCHD_CONFIGURATION_TRANSFER_H
#define SWITCHD_CONFIGURATION_TRANSFER_H

#include <stdint.h>
#include <sys/types.h>

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "managers.h"

// One client's file that is under way.
struct configuration_copy {
  std::string text;
  int64_t touched = 0;  // monotonic milliseconds
};

// By client process. What nobody asked for in a minute is dropped.
struct configuration_transfers {
  std::map<pid_t, configuration_copy> out;
  std::map<pid_t, configuration_copy> in;
};

// The piece that `asked` wants; see kOpConfiguration. Returns 0 with `answer` filled, or a status: kStatusMalformed for
// an object that is none of ours, or an offset that does not follow the piece before.
int configuration_give(configuration_transfers &transfers, const switch_managers &managers, pid_t client,
                       const nlohmann::json &asked, nlohmann::json &answer);

// Takes a piece; the last one is answered with the file's problems, and applied when that is wanted. Returns a status
// as configuration_give and configuration_apply do.
int configuration_take(configuration_transfers &transfers, switch_managers &managers, pid_t client,
                       const nlohmann::json &piece, nlohmann::json &answer);

// Makes the switch what a new store would be filled with: from the topology file, or, without one (an empty path), from
// nothing. Answers as the last piece of a file does.
int configuration_reset(switch_managers &managers, const std::string &topology_file, nlohmann::json &answer);

#endif
