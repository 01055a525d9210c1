#include "configuration_transfer.h"
#include "rules/fabric_rules.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include "configuration.h"
#include "monotonic_clock.h"
#include "plain_text.h"
#include "requests.h"
#include "statuses.h"
#include "text_pieces.h"
#include "topology.h"

namespace {

using nlohmann::json;

constexpr int64_t kCopyKept = 60'000;  // milliseconds
constexpr size_t kCopiesMax = 8;       // of each direction

void forget_old(std::map<pid_t, configuration_copy> &copies) {
  const int64_t now = monotonic_ms();
  std::erase_if(copies, [now](const auto &each) { return now - each.second.touched > kCopyKept; });
}

// The client's copy into `copy`, an empty one when it starts over. Returns 0, or a status: kStatusBusy when too many
// have one, kStatusMalformed when there is none that the offset could go on in.
int take_copy(std::map<pid_t, configuration_copy> &copies, pid_t client, uint64_t offset, configuration_copy *&copy) {
  forget_old(copies);
  const bool known = copies.contains(client);
  if (offset != 0 && !known) {
    return kStatusMalformed;
  }
  if (!known && copies.size() >= kCopiesMax) {
    return kStatusBusy;
  }
  copy = &copies[client];
  copy->touched = monotonic_ms();
  if (offset == 0) {
    copy->text.clear();
  }
  return 0;
}

bool is_number(const json &object, const char *key) {
  return object.is_object() && object.contains(key) && object[key].is_number_unsigned();
}

// A name that was taken by an older switch and that no file can hold; empty when there is none.
std::string unwritable_name(const switch_state &state) {
  for (const auto &[id, vsan] : state.vsans) {
    if (!is_plain_text(vsan.name)) {
      return "VSAN " + std::to_string(id) +
             " has a name that is no UTF-8 text, which a file cannot hold: rename it first";
    }
  }
  for (const auto &[index, interface] : state.interfaces) {
    if (!is_plain_text(interface.name)) {
      return "interface " + std::to_string(index) + " has a name that is no UTF-8 text: rename it first";
    }
  }
  return is_plain_text(state.settings.name) ? "" : "the switch has a name that is no UTF-8 text: rename it first";
}

}  // namespace

int configuration_give(configuration_transfers &transfers, const switch_managers &managers, pid_t client,
                       const json &asked, json &answer) {
  if (!is_number(asked, "offset")) {
    return kStatusMalformed;
  }
  const auto offset = asked["offset"].get<uint64_t>();
  configuration_copy *copy = nullptr;
  if (const int status = take_copy(transfers.out, client, offset, copy); status != 0) {
    return status;
  }
  if (offset == 0) {
    if (const std::string problem = unwritable_name(managers.state); !problem.empty()) {
      transfers.out.erase(client);
      answer = {{"problems", problem}};
      return 0;
    }
    copy->text = write_topology(managers.state);
  }
  if (offset > copy->text.size()) {
    return kStatusMalformed;
  }
  const auto begin = static_cast<size_t>(offset);
  const size_t end = piece_end(copy->text, begin, kConfigurationPiece);
  answer = {{"text", copy->text.substr(begin, end - begin)}, {"total", copy->text.size()}};
  if (end == copy->text.size()) {
    transfers.out.erase(client);
  }
  return 0;
}

namespace {

// What a whole file comes to, applied when that is wanted.
int take_file(switch_managers &managers, const switch_change &wanted, bool apply, json &answer) {
  std::string extent = configuration_extent(managers.state, configuration_change(managers.state, wanted));
  if (!apply && managers.state.settings.distribution.open != 0) {
    extent += "; not now: a distribution session is open, commit or abort it first";
  }
  if (is_in_fabric(managers.state)) {
    extent += "; distributed timers stay the fabric's";
  }
  answer = {{"problems", ""}, {"extent", extent}};
  return apply ? configuration_apply(managers, wanted) : 0;
}

// Only blanks and comments. An export that failed leaves such a file, and nobody means to lose all by it.
bool says_nothing(const std::string &text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    const size_t start = line.find_first_not_of(" \t\r");
    if (start != std::string::npos && line[start] != '#') {
      return false;
    }
  }
  return true;
}

}  // namespace

int configuration_take(configuration_transfers &transfers, switch_managers &managers, pid_t client, const json &piece,
                       json &answer) {
  if (!is_number(piece, "offset") || !is_number(piece, "total") || !piece.value("text", json()).is_string() ||
      !piece.value("name", json()).is_string() || !piece.value("apply", json()).is_boolean()) {
    return kStatusMalformed;
  }
  const auto offset = piece["offset"].get<uint64_t>();
  const auto total = piece["total"].get<uint64_t>();
  configuration_copy *copy = nullptr;
  if (const int status = take_copy(transfers.in, client, offset, copy); status != 0) {
    return status;
  }
  const auto text = piece["text"].get<std::string>();
  if (copy->text.size() != offset || total > kConfigurationMax || offset + text.size() > total) {
    transfers.in.erase(client);
    return kStatusMalformed;
  }
  copy->text += text;
  answer = json::object();
  if (copy->text.size() < total) {
    return 0;
  }
  switch_change wanted;
  std::string problems;
  const auto name = piece["name"].get<std::string>();
  int parsed = parse_topology(copy->text, name, wanted, problems);
  if (parsed == 0 && says_nothing(copy->text)) {
    problems = name + ": there is nothing in it; \"vsanctl reset\" makes the switch what it was when it was new";
    parsed = -1;
  }
  transfers.in.erase(client);
  if (parsed != 0) {
    answer = {{"problems", problems}};
    return 0;
  }
  return take_file(managers, wanted, piece["apply"].get<bool>(), answer);
}

int configuration_reset(switch_managers &managers, const std::string &topology_file, json &answer) {
  switch_change wanted = default_topology();
  std::string problems;
  if (!topology_file.empty() && read_topology(topology_file, wanted, problems) != 0) {
    answer = {{"problems", problems}};
    return 0;
  }
  return take_file(managers, wanted, true, answer);
}
