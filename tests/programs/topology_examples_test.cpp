// The topologies that ship, and the one that the shipped generator makes.
#include <gtest/gtest.h>
#include <stdlib.h>

#include "switch_under_test.h"
#include "topology.h"

namespace {

TEST(TopologyExamples, AreSound) {
  const temporary_directory directory;
  switch_change change;
  std::string error;
  EXPECT_EQ(read_topology(TOPOLOGIES "/small-fabric.toml", change, error), 0) << error;
  EXPECT_EQ(change.vsans.size(), 6U);
  EXPECT_EQ(change.interfaces.size(), 12U);
  const std::string large = directory.path + "/large.toml";
  ASSERT_EQ(system(("python3 " TOPOLOGIES "/generate-topology.py > " + large).c_str()), 0);
  EXPECT_EQ(read_topology(large, change, error), 0) << error;
  EXPECT_EQ(change.vsans.size(), 4093U);
  EXPECT_EQ(change.interfaces.size(), 512U);
}

}  // namespace
