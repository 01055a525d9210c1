// What net-snmp hands a write method, at the edges that its callers do not show.
#include "module_frame/written_value.h"

#include <limits.h>

#include "module_test.h"

namespace {

using namespace mib;
using namespace vsan_mib;

set_integer read_long(long value) {
  return read_set_integer(&value, sizeof value);
}

TEST(WrittenValue, FitsWhenItsLongHasNoMoreThan32BitsOfEitherSign) {
  EXPECT_TRUE(read_long(INT32_MIN).fits);
  EXPECT_EQ(read_long(INT32_MIN).value, 0x80000000u);
  EXPECT_TRUE(read_long(UINT32_MAX).fits);
  EXPECT_EQ(read_long(UINT32_MAX).value, UINT32_MAX);
  if (sizeof(long) > sizeof(uint32_t)) {
    EXPECT_FALSE(read_long(static_cast<long>(int64_t{INT32_MIN} - 1)).fits);
    EXPECT_FALSE(read_long(static_cast<long>(int64_t{UINT32_MAX} + 1)).fits);
  }
}

TEST(WrittenValue, ThatIsMissingReadsAsZero) {
  const set_integer missing = read_set_integer(nullptr, sizeof(uint32_t));
  EXPECT_TRUE(missing.fits);
  EXPECT_EQ(missing.value, 0u);
}

class MissingValue : public ModuleTest {};

TEST_F(MissingValue, OfANameHasNoSpaceAndPassesItsCheck) {
  fake::add_vsan(7);
  name_t name = vsan_cell(kName, 7);
  EXPECT_EQ(set_vsanName(RESERVE1, nullptr, ASN_OCTET_STR, 3, nullptr, name.data(), name.size()), 0);
}

TEST_F(MissingValue, OfAForceFlagSetsNone) {
  name_t name = timer_cell(kForceFlag, 7);
  EXPECT_EQ(set_vsanFcTimerForceFlag(RESERVE1, nullptr, ASN_OCTET_STR, 0, nullptr, name.data(), name.size()), 0);
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : ACTION flag i/p 0 "));
  EXPECT_EQ(set_vsanFcTimerForceFlag(ACTION, nullptr, ASN_OCTET_STR, 0, nullptr, name.data(), name.size()), 0);
  EXPECT_TRUE(fake::the().traced("set_vsanFcTimerForceFlag : ACTION vsan_id = 7 , flag set :  0 "));
}

TEST_F(MissingValue, OfAnOidWithoutSubIdentifiersNamesNoVsan) {
  oid name[1] = {7};
  u_char value[8] = {RS_DESTROY};
  EXPECT_EQ(set_vsanRowStatus(RESERVE1, value, ASN_INTEGER, 4, nullptr, name, 0), SNMP_ERR_WRONGVALUE);
}

}  // namespace
