// vsanctl fault …: faults in switchd on purpose, for people who test what is in front of it.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "arguments.h"
#include "ask/control.h"
#include "ask/object_name.h"
#include "commands.h"
#include "output/failure.h"
#include "output/writer.h"
#include "requests.h"

namespace {

using nlohmann::json;

struct service_row {
  const char *name;
  int service;
};
constexpr service_row kServices[] = {
    {"vsan-manager", kServiceVsanManager},
    {"identity", kServiceIdentity},
    {"port-manager", kServicePortManager},
    {"distribution", kServiceDistribution},
};

struct fault_options {
  std::string service = "vsan-manager";
  std::string object;
  std::string side = "both";
  uint32_t opcode = 0;
  uint32_t count = 0;
  uint32_t value = 0;
  uint32_t seconds = 0;
  bool spare_vsanctl = false;
};

struct fault_row {
  const char *kind;
  const char *about;
  const char *value;  // what the value is called; null when there is none
  const char *meaning;
  number_limits limits;
};
constexpr fault_row kFaults[] = {
    {"delay", "answer late", "milliseconds", "0 to 600000", {0, 600000}},
    {"status", "answer this status and do nothing", "status", "such as 0x40190004", {}},
    {"drop", "close the connection instead of an answer", nullptr, nullptr, {}},
    {"short-answer", "cut the answer's payload to this size", "bytes", "0 to 65535", {0, 65535}},
    {"hang", "never answer", nullptr, nullptr, {}},
};

const char *service_name(int service) {
  return std::ranges::find(kServices, service, &service_row::service)->name;
}

void set_fault(const CLI::App &command, const fault_row &row, const fault_options &options) {
  json object{{"service", options.service},
              {"kind", row.kind},
              {"opcode", command.count("--opcode") > 0 ? int64_t{options.opcode} : -1},
              {"count", command.count("--count") > 0 ? int64_t{options.count} : -1},
              {"value", options.value},
              {"side", options.side},
              {"spares_operator", options.spare_vsanctl},
              {"lasts", uint64_t{options.seconds} * 1000}};
  if (!options.object.empty()) {
    const mib_exchange &exchange = *object_named(options.object).exchange;
    object["service"] = service_name(exchange.service);
    object["opcode"] = exchange.opcode;
  }
  tell_control((std::string("fault ") + row.kind + " was not switched on").c_str(), kOpFaults, kMsgSet, object);
}

// What exchanges of the opcode carry, for people.
std::string carried(const std::string &service, int64_t opcode) {
  for (const mib_exchange *each : kMibExchanges) {
    if (each->opcode == opcode && service == service_name(each->service)) {
      return each->carries;
    }
  }
  return opcode == -1 ? "everything" : "opcode " + std::to_string(opcode);
}

// Milliseconds; people are shown seconds, as they typed them.
cell ends_cell(int64_t milliseconds) {
  return signed_cell(milliseconds, milliseconds == -1 ? "never" : std::to_string((milliseconds + 999) / 1000) + " s");
}

void list_faults(bool as_json) {
  const json object = ask_control("faults", kOpFaults, kMsgGet);
  const writer to = writer_open(as_json);
  write_table(to, "faults",
              {"service", "kind", "value", "carries", "opcode", "side", "count", "spares_vsanctl", "ends_in"});
  for (const json &fault : object.at("faults")) {
    const auto number = [&](const char *key, const char *none) {
      const auto value = fault.at(key).get<int64_t>();
      return signed_cell(value, value == -1 ? none : "");
    };
    const auto service = fault.at("service").get<std::string>();
    write_row(to, {text_cell(service), text_cell(fault.at("kind")), signed_cell(fault.at("value").get<int64_t>()),
                   text_cell(carried(service, fault.at("opcode"))), number("opcode", "any"),
                   text_cell(fault.at("side")), number("count", "unlimited"), flag_cell(fault.at("spares_operator")),
                   ends_cell(fault.at("ends_in").get<int64_t>())});
  }
  writer_close(to);
}

void add_fault_options(CLI::App &command, fault_options &options) {
  CLI::Option *object =
      add_object(command, options.object, "only exchanges that carry this object of the MIB, such as vsanName");
  std::vector<std::string> services;
  for (const service_row &each : kServices) {
    services.emplace_back(each.name);
  }
  add_word(command, "--service", options.service, services, "only exchanges with this service")->excludes(object);
  add_number(command, "--opcode", options.opcode, "only this opcode", {0, INT32_MAX})->excludes(object);
  add_word(command, "--side", options.side, {"both", "reads", "writes"}, "only reads, or only writes");
  add_number(command, "--count", options.count, "only so many requests", {1, INT32_MAX});
  add_number(command, "--for", options.seconds, "only for so many seconds", {1, 86400})->type_name("SECONDS");
  command.add_flag("--spare-vsanctl", options.spare_vsanctl, "leave requests of vsanctl alone");
}

}  // namespace

void add_fault_commands(CLI::App &app, const common_options &common) {
  static fault_options options;
  CLI::App *fault = app.add_subcommand("fault", "faults on purpose")->require_subcommand(1);
  for (const fault_row &row : kFaults) {
    CLI::App *command = fault->add_subcommand(row.kind, row.about);
    if (row.value != nullptr) {
      add_number(*command, row.value, options.value, row.meaning, row.limits)->required();
    }
    add_fault_options(*command, options);
    command->callback([&row, command] { set_fault(*command, row, options); });
  }
  fault->add_subcommand("list", "the faults in force")->callback([&common] { list_faults(common.json); });
  fault->add_subcommand("clear", "end all faults")->callback([] {
    tell_control("faults were not cleared", kOpFaults, kMsgDelete);
  });
}
