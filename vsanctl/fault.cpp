// vsanctl fault …: faults in switchd on purpose, for people who test what is in front of it.
#include <nlohmann/json.hpp>

#include "commands.h"
#include "question.h"
#include "requests.h"
#include "writer.h"

namespace {

using nlohmann::json;

struct fault_options {
  std::string service = "vsan-manager";
  int opcode = -1;
  int count = -1;
  uint32_t value = 0;
};

struct fault_row {
  const char *kind;
  const char *about;
  const char *value;  // what the value is called; null when there is none
};
constexpr fault_row kFaults[] = {
    {"delay", "answer late", "milliseconds"},
    {"status", "answer this status and do nothing", "status"},
    {"drop", "close the connection instead of an answer", nullptr},
    {"short-answer", "cut the answer's payload to this size", "bytes"},
    {"hang", "never answer", nullptr},
};

void set_fault(const fault_row &row, const fault_options &options) {
  const std::string text = json{
      {"service", options.service},
      {"kind", row.kind},
      {"opcode", options.opcode},
      {"count", options.count},
      {"value", options.value}}.dump();
  ask_or_fail(std::string("fault ") + text, {kServiceControl, kOpFaults, kMsgSet, {text.begin(), text.end()}, 0});
}

void list_faults(bool as_json) {
  const auto answer = ask_or_fail("faults", {kServiceControl, kOpFaults, kMsgGet, {}, kAnyAnswer});
  const json object = json::parse(answer.begin(), answer.end());
  const writer to = writer_open(as_json);
  write_table(to, "faults", {"service", "kind", "opcode", "count", "value"});
  const auto limited = [](const json &number, const char *unlimited) {
    return number == -1 ? cell(std::string(unlimited)) : cell(number.get<uint64_t>());
  };
  for (const json &fault : object.at("faults")) {
    write_row(to, {fault.at("service").get<std::string>(), fault.at("kind").get<std::string>(),
                   limited(fault.at("opcode"), "any"), limited(fault.at("count"), "unlimited"),
                   limited(fault.at("value"), "-1")});
  }
  writer_close(to);
}

}  // namespace

void add_fault_commands(CLI::App &app, const common_options &common) {
  static fault_options options;
  CLI::App *fault = app.add_subcommand("fault", "faults on purpose")->require_subcommand(1);
  for (const fault_row &row : kFaults) {
    CLI::App *command = fault->add_subcommand(row.kind, row.about);
    if (row.value != nullptr) {
      command->add_option(row.value, options.value, row.value)->required();
    }
    command->add_option("--service", options.service, "vsan-manager, identity, port-manager or distribution")
        ->check(CLI::IsMember(std::vector<std::string>{"vsan-manager", "identity", "port-manager", "distribution"}))
        ->capture_default_str();
    command->add_option("--opcode", options.opcode, "only this opcode");
    command->add_option("--count", options.count, "only so many requests");
    command->callback([&row] { set_fault(row, options); });
  }
  fault->add_subcommand("list", "the faults in force")->callback([&common] { list_faults(common.json); });
  fault->add_subcommand("clear", "end all faults")->callback([] {
    ask_or_fail("faults", {kServiceControl, kOpFaults, kMsgDelete, {}, 0});
  });
}
