// The table of exchanges in include/platform/exchanges.md is what the module asks of a platform: no exchange is missing,
// none is made up, and the least size of an answer is the least that is taken.
#include "exchanges_file.h"
#include "module_test.h"
#include "requests.h"
#include "vsan_values.h"

namespace {

using namespace mib;

class ExchangeTable : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    fill();
  }

  static void fill() {
    for (const uint32_t vsan : {1, 10, 20}) {
      fake::add_vsan(vsan);
    }
    fake::add_interface(100, 10);
    fake::the().latencies = {{kAttrSwitchLatency, 500}, {kAttrNetworkLatency, 2000}};
  }

  // Walks and GETs of all objects. Returns how many values came.
  static size_t read_all() {
    size_t values = 0;
    name_t at = root({});
    for (int step = 0; step < 1000; ++step) {
      const std::optional<varbind> next = mini::getnext(at);
      if (!next) {
        return values;
      }
      values += 1 + (mini::get(next->name) ? 1u : 0u);
      at = next->name;
    }
    ADD_FAILURE() << "the walk has no end";
    return values;
  }

  // SETs of every writable object, a VSAN made and taken away, and PDUs that fail and are undone.
  static void write_all() {
    for (const unsigned long column : {kAdminState, kLoadBalancing, kInterop, kInorder}) {
      mini::set_pdu({integer(vsan_cell(column, 10), 1)});
    }
    mini::set_pdu({octets(vsan_cell(kName, 10), "edge")});
    mini::set_pdu({gauge(vsan_cell(kDropLatency, 10), 1000)});
    mini::set_pdu({integer(vsan_cell(kRowStatus, 30), kCreateAndGo)});
    mini::set_pdu({integer(vsan_cell(kRowStatus, 30), kActive)});
    mini::set_pdu({integer(vsan_cell(kRowStatus, 30), kDestroy)});
    mini::set_pdu({integer(if_vsan(100), 20)});
    for (const unsigned long column : {kRatov, kEdtov, kDstov}) {
      mini::set_pdu({gauge(timer_cell(column, 10), column == kEdtov ? 3000 : 6000)});
    }
    mini::set_pdu({octets(timer_cell(kForceFlag, 10), std::string(1, '\x80'))});
    for (const unsigned long scalar : {1, 2, 4, 5, 6}) {
      mini::set_pdu({gauge(root({1, 4, scalar, 0}), scalar == 2 ? 3000 : 6000)});
    }
    mini::set_pdu({integer(root({1, 4, 7, 0}), 1)});
  }

  static size_t raise_traps() {
    fake::message moved = {fake::to_hex_bytes("00000064 0000000a 00000014")};
    oid name[MAX_OID_LEN];
    size_t length = 0;
    int send = 0;
    snmp_free_varbind(handle_port_memb_change_notifications(&moved, name, &length, &send));
    return static_cast<size_t>(send);
  }
};

TEST_F(ExchangeTable, IsWhatTheModuleAsks) {
  read_all();
  fake::the().kdx_enabled = 1;
  read_all();
  write_all();
  EXPECT_EQ(raise_traps(), 1u);
  EXPECT_EQ(vsan_trap_vsan_set(kNotificationsOn), 0);

  const std::map<exchange_key, exchange_row> table = written_table();
  std::map<exchange_key, exchange_row> seen;
  for (const fake::exchange &e : fake::the().exchanges) {
    const exchange_key key = {e.service, e.opcode, e.msg_type};
    SCOPED_TRACE(std::to_string(e.service) + " " + std::to_string(e.opcode) + " " + std::to_string(e.msg_type));
    const auto row = table.find(key);
    ASSERT_NE(row, table.end()) << "asked, and not in the table";
    const bool is_write = e.msg_type == kMsgSet || e.msg_type == kMsgDelete;
    EXPECT_EQ(is_write, !e.wants_response);
    EXPECT_EQ(e.size, row->second.size);
    EXPECT_EQ(e.has_request, row->second.has_request);
    EXPECT_EQ(e.wants_response, row->second.least.has_value());
    EXPECT_EQ(e.user.has_value(), (is_write && e.opcode != kOpNotificationControl) || e.opcode == kOpSwitchWwn);
    EXPECT_EQ(e.session.has_value(), e.user.has_value());
    const bool is_slow = is_write && e.opcode != kOpInterfaceVsan && e.opcode != kOpVsanRow;
    EXPECT_EQ(e.timeout, e.opcode == kOpNotificationControl ? 0 : is_slow ? 10 : 4);
    seen[key] = row->second;
  }
  for (const auto &[key, row] : table) {
    const auto &[service, opcode, type] = key;
    EXPECT_EQ(seen.count(key), 1u) << service << " " << opcode << " " << type << " (" << row << ") is never asked";
  }
}

// Answers to one exchange cut to so many bytes; the others are the faked managers'.
void cut_answers(const exchange_key &cut, uint32_t bytes) {
  fake::the().overrule = [=](const fake::exchange &e) -> std::optional<fake::reply> {
    if (exchange_key{e.service, e.opcode, e.msg_type} != cut) {
      return {};
    }
    fake::reply reply = fake::answer_of_managers(e);
    if (reply.payload && reply.payload->size() > bytes) {
      reply.payload->resize(bytes);
    }
    return reply;
  };
}

// The world wide name is kept for the module's life; what becomes of a short one is tested with the notifications.
TEST_F(ExchangeTable, LeastIsTheLeastThatIsTaken) {
  size_t tried = 0;
  for (const auto &[key, row] : written_table()) {
    const auto &[service, opcode, type] = key;
    if (!row.least || opcode == kOpSwitchWwn) {
      continue;
    }
    SCOPED_TRACE(std::to_string(opcode) + " " + std::to_string(type));
    fake::the().kdx_enabled = type == kMsgKdxGet ? 1 : 0;
    fake::the().overrule = nullptr;
    const size_t all = read_all();
    cut_answers(key, *row.least);
    EXPECT_EQ(read_all(), all);
    cut_answers(key, *row.least - 1);
    EXPECT_LT(read_all(), all);
    ++tried;
  }
  EXPECT_GT(tried, 0u);
}

}  // namespace
