// A small agent around the module's object table: serves GET, GETNEXT, GETBULK and SET PDUs in the order that
// net-snmp's agent uses, without a network. Every PDU gets a number of its own.
#ifndef TESTS_UNIT_MODULE_MINI_AGENT_H
#define TESTS_UNIT_MODULE_MINI_AGENT_H

#include <optional>
#include <string>
#include <vector>

#include "fake_platform.h"
#include "mib_objects.h"

namespace mini {

using namespace mib;

// An object of the module as the agent hands it to its find function.
struct variable as_variable(const struct variable7 &object);
// Makes the two set lists anew, empty.
void make_set_lists();

std::optional<varbind> get(const name_t &name);
std::optional<varbind> getnext(const name_t &name);
// One call of an object's own find function, whose answer is not compared with what was asked for.
std::optional<varbind> find_alone(const struct variable7 &object, const name_t &name, int exact);
// One PDU each.
std::vector<std::optional<varbind>> getnext_pdu(const std::vector<name_t> &names);
std::vector<std::vector<std::optional<varbind>>> getbulk_pdu(const std::vector<name_t> &names, int repetitions);

// What a SET PDU came to: the status of the first varbind refused, its 1-based place and the phase, or 0, 0 and COMMIT.
struct set_result {
  int status = 0;
  size_t index = 0;
  int phase = COMMIT;
};
set_result set_pdu(const std::vector<varbind> &varbinds);

// The write method of a column with `statP`, called directly: one phase.
int phase(WriteMethod *method, int action, const varbind &value, u_char *current = nullptr);
// As `phase`, with the type and length as given, whatever the value's own; what the value lacks is zeros.
int phase_raw(WriteMethod *method, int action, const name_t &name, u_char type, const std::string &value, size_t length,
              u_char *current = nullptr);
// The octets of a host integer.
std::string word(int32_t value);

}  // namespace mini

#endif
