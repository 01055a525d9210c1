// A destroy that is undone, or that is followed by a column of the same VSAN in one SET, leaves the VSAN without its
// interfaces and timers.
#include "fabric_lab.h"

namespace {

using namespace set_lab;
using namespace fabric_lab;

using DestroyedAndKept = FabricTest;

TEST_F(DestroyedAndKept, ADestroyThatALaterVarbindUndoesChangesNothing) {
  EXPECT_SET(set({row_status(10, kDestroy), row_status(1, kDestroy)}), kInconsistentName, 2);
  EXPECT_EQ(changes(), difference{});
}

TEST_F(DestroyedAndKept, ADestroyFollowedByARenameOnlyRenames) {
  EXPECT_DONE(set({timer(kRatov, 20, 6000)}));
  changes();
  EXPECT_DONE(set({row_status(20, kDestroy), name(20, "x")}));
  EXPECT_EQ(changes(), (difference{{name(20, "x")}, {}}));
}

TEST_F(DestroyedAndKept, ADestroyOfItsOwnStillTakesEverything) {
  EXPECT_DONE(set({row_status(10, kDestroy)}));
  EXPECT_DONE(set({name(10, "bare"), row_status(10, kCreateAndGo)}));
  EXPECT_EQ(get(if_vsan(kFc2)).integer, 1);
}

}  // namespace
