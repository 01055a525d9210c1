#include "fleet_lists.h"

#include <nlohmann/json.hpp>

#include "wwn_text.h"

std::string target_list(const fleet_description &fleet) {
  using nlohmann::ordered_json;
  ordered_json list = ordered_json::array();
  for (const fleet_switch &each : fleet.switches) {
    if (list.empty() || list.back()["labels"]["group"] != each.group) {
      list.push_back({{"targets", ordered_json::array()}, {"labels", {{"fleet", fleet.name}, {"group", each.group}}}});
    }
    list.back()["targets"].push_back(each.address + ":" + std::to_string(each.port));
  }
  return list.dump(2) + "\n";
}

// No field has a comma, a quote or an end of line: the description's checks see to that.
std::string import_list(const fleet_description &fleet) {
  std::string list = "name,address,port,version,community,write_community,group,wwn,host\n";
  for (const fleet_switch &each : fleet.switches) {
    list += each.name + "," + each.address + "," + std::to_string(each.port) + ",2c," + fleet.community + "," +
            fleet.write_community + "," + each.group + "," + wwn_text(each.wwn) + "," + each.host + "\n";
  }
  return list;
}
