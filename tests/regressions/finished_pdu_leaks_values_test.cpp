// A PDU was refused in ACTION by an agent that ends ACTION at its first failure; a value of it that had not been sent
// went out with a later PDU.
#include "module_test.h"

namespace {

using namespace mib;

using vsan_varbinds = std::vector<varbind>;

WriteMethod *setter_of(const varbind &v) {
  WriteMethod *method = nullptr;
  for (const struct variable7 &row : vsan_mib_variables) {
    if (row.namelen == 5 && row.name[1] == 1 && row.name[4] == v.name[13]) {
      set_table_set_methods(row.magic, &method);
    }
  }
  return method;
}

class FinishedPdu : public ModuleTest {
 protected:
  void SetUp() override {
    ModuleTest::SetUp();
    for (const uint32_t vsan : {5u, 6u}) {
      fake::add_vsan(vsan);
    }
  }
  static int run(int action, const vsan_varbinds &pdu) {
    for (const varbind &v : pdu) {
      const int status = mini::phase(setter_of(v), action, v);
      if (status != 0) {
        return status;
      }
    }
    return 0;
  }
  // RESERVE1 and RESERVE2 of all, ACTION up to the first failure, UNDO of all.
  static void refuse(const vsan_varbinds &pdu) {
    ++fake::the().pdu;
    ASSERT_EQ(run(RESERVE1, pdu), 0);
    ASSERT_EQ(run(RESERVE2, pdu), 0);
    fake::the().overrule = [](const fake::exchange &e) -> std::optional<fake::reply> {
      return e.msg_type == 3 ? std::optional(fake::reply{7, 0, {}, {}}) : std::nullopt;
    };
    ASSERT_NE(run(ACTION, pdu), 0);
    fake::the().overrule = nullptr;
    ASSERT_EQ(run(UNDO, pdu), 0);
    fake::the().exchanges.clear();
  }
  // Rows that a PDU sends, by message type and name.
  static std::vector<std::pair<int, std::string>> sent() {
    std::vector<std::pair<int, std::string>> out;
    for (const fake::exchange &e : fake::the().sent(149)) {
      if (e.msg_type >= 3) {
        out.emplace_back(e.msg_type, fake::row_of(e.request).vsanName);
      }
    }
    return out;
  }
};

varbind name(oid vsan, const std::string &value) {
  return octets(vsan_cell(kName, vsan), value);
}
varbind admin(oid vsan, long value) {
  return integer(vsan_cell(kAdminState, vsan), value);
}
varbind row_status(oid vsan, long value) {
  return integer(vsan_cell(kRowStatus, vsan), value);
}

const vsan_varbinds kRefused = {name(5, "refused5"), name(6, "refused6")};

TEST_F(FinishedPdu, AnotherColumnOfTheVsanIsSentWithoutItsValue) {
  refuse(kRefused);
  EXPECT_EQ(mini::set_pdu({admin(6, 2)}).status, 0);
  EXPECT_EQ(sent(), (std::vector<std::pair<int, std::string>>{{3, "VSAN0006"}}));
  EXPECT_EQ(fake::the().vsans[6].vsanAdminState, 2u);
  EXPECT_STREQ(fake::the().vsans[6].vsanName, "VSAN0006");
}

TEST_F(FinishedPdu, ActiveReAppliesTheRowAsItIs) {
  refuse(kRefused);
  EXPECT_EQ(mini::set_pdu({row_status(6, 1)}).status, 0);
  EXPECT_EQ(sent(), (std::vector<std::pair<int, std::string>>{{3, "VSAN0006"}}));
}

TEST_F(FinishedPdu, DestroyDeletesTheRowAndItsUndoRestoresTheRowAsItWas) {
  refuse(kRefused);
  const varbind destroy = row_status(6, 6);
  ++fake::the().pdu;
  struct variable vp = {};
  vp.magic = 11;
  vp.namelen = 14;
  memcpy(vp.name, destroy.name.data(), 14 * sizeof(oid));
  name_t at = destroy.name;
  at.resize(MAX_OID_LEN);
  size_t length = 15, value_length = 0;
  WriteMethod *method = nullptr;
  u_char *current = get_vsanEntry(&vp, at.data(), &length, 1, &value_length, &method);
  ASSERT_NE(current, nullptr);
  for (const int action : {RESERVE1, RESERVE2, ACTION, UNDO}) {
    EXPECT_EQ(mini::phase(set_vsanRowStatus, action, destroy, current), 0) << action;
  }
  EXPECT_EQ(sent(), (std::vector<std::pair<int, std::string>>{{4, "VSAN0006"}, {3, "VSAN0006"}}));
}

TEST_F(FinishedPdu, AVsanThatWentMeanwhileIsCreatedWithDefaults) {
  refuse(kRefused);
  fake::the().vsans.erase(6);
  EXPECT_EQ(mini::set_pdu({row_status(6, 4), admin(6, 2)}).status, 0);
  ASSERT_EQ(fake::the().vsans.count(6), 1u);
  EXPECT_STREQ(fake::the().vsans[6].vsanName, "VSAN0006");
}

TEST_F(FinishedPdu, ReserveTwoAloneStartsAfreshToo) {
  refuse(kRefused);
  ++fake::the().pdu;
  EXPECT_EQ(run(RESERVE2, {admin(6, 2)}), 0);
  EXPECT_EQ(run(ACTION, {admin(6, 2)}), 0);
  EXPECT_EQ(run(COMMIT, {admin(6, 2)}), 0);
  EXPECT_EQ(sent(), (std::vector<std::pair<int, std::string>>{{3, "VSAN0006"}}));
}

TEST_F(FinishedPdu, WhatRowStatusListedInThePduAtHandIsNotTouched) {
  refuse(kRefused);
  fake::the().vsans.erase(6);
  const vsan_varbinds creation = {row_status(6, 4), name(6, "new6")};
  EXPECT_EQ(mini::set_pdu(creation).status, 0);
  EXPECT_STREQ(fake::the().vsans[6].vsanName, "new6");
}

TEST_F(FinishedPdu, TheSavedRowStaysListedAfterUndoAndTheNextPduDropsIt) {
  refuse(kRefused);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 2u);
  EXPECT_EQ(mini::phase(set_vsanName, RESERVE1, name(6, "x")), 0);
  EXPECT_EQ(fake::listed(vsanEntry_undo_list), 1u);
  EXPECT_EQ(fake::in_list(vsanEntry_list, 6), nullptr);
}

TEST_F(FinishedPdu, UnloadingFreesWhatIsStillListed) {
  refuse(kRefused);
  deinit_vsan_mib();
  indxobj_create(&vsanEntry_undo_list, 0, 1, vsanEntry_comp, 1);
  indxobj_create(&vsanEntry_list, 0, 1, vsanEntry_comp, 1);
  EXPECT_EQ(mini::set_pdu({admin(6, 2)}).status, 0);
  EXPECT_STREQ(fake::the().vsans[6].vsanName, "VSAN0006");
}

}  // namespace
