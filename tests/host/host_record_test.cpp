// The adapter's own record: the suites it holds for one call, and the frame
// and downsample it reads.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/host_fixture.h"

using TestSupport::HostFixture;

namespace {
const std::vector<std::pair<std::string, int>> kHeldInOrder = {
    {"PF ColorParamSuite", 1},       {"PF AngleParamSuite", 1}, {"PF Param Utils Suite", 2},
    {"PF World Suite", 2},           {"PF Pixel Format Suite", 1}, {"AEGP Render Suite", 5},
    {"AEGP Layer Render Options Suite", 1}, {"PF Utility Suite", 2}, {"Opaque Effect Data Suite", 2}};
}

TEST(HostSuites, NineSuitesAreHeldForOneCallAndReleasedInTheSameOrder) {
  StandIn::StandInHost standIn;
  {
    TestSupport::BareHost host;
    host.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
    EXPECT_EQ(standIn.heldSuites(), 9u);
    EXPECT_NE(host.worldSuite, nullptr);
    EXPECT_NE(host.pixelFormatSuite, nullptr);
  }
  EXPECT_EQ(standIn.heldSuites(), 0u);
  std::vector<std::pair<std::string, int>> expected = kHeldInOrder;
  for (const auto& suite : kHeldInOrder) expected.emplace_back(suite.first, -suite.second);  // releases
  EXPECT_EQ(standIn.suiteCalls(), expected);
}

TEST(HostSuites, AMissingSuiteIsNoErrorAndAMissingBrokerAsksNothing) {
  StandIn::Settings settings;
  settings.worldSuite = false;
  settings.pixelFormatSuite1 = false;  // version 2 alone is not what the record holds
  HostFixture fixture(settings);
  EXPECT_EQ(fixture.host.worldSuite, nullptr);
  EXPECT_EQ(fixture.host.pixelFormatSuite, nullptr);
  EXPECT_NE(fixture.host.colorParamSuite, nullptr);
  EXPECT_EQ(fixture.standIn.heldSuites(), 7u);

  StandIn::Settings noBroker;
  noBroker.basicSuite = false;
  StandIn::StandInHost standIn(noBroker);
  {
    TestSupport::BareHost host;
    host.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
    EXPECT_EQ(host.utilitySuite, nullptr);
  }
  EXPECT_TRUE(standIn.suiteCalls().empty());
}

TEST(HostRecord, FrameAndDownsampleComeFromTheInputRecord) {
  HostFixture fixture;
  fixture.standIn.setTime(300, 100);
  EXPECT_EQ(fixture.host.currentFrame(), 3);
  fixture.standIn.setTime(-250, 100);
  EXPECT_EQ(fixture.host.currentFrame(), -2);  // integer division truncates
  PF_InData& in = *fixture.standIn.inData();
  float x = 0, y = 0;
  in.downsample_x = {1, 2};
  in.downsample_y = {1, 3};
  fixture.host.getDownsample(x, y);
  EXPECT_EQ(x, 0.5f);
  EXPECT_EQ(y, 1.0f / 3.0f);
  in.downsample_x = {0, 2};
  in.downsample_y = {2, 0};
  fixture.host.getDownsample(x, y);
  EXPECT_EQ(x, 1.0f);
  EXPECT_EQ(y, 1.0f);
}
