// The suites: a host that lacks any one of the nine held suites still gets
// the same frames through the fallbacks, and the on-demand table acquires
// once, refuses what the host does not have and gives everything back.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "host/ae/suite_table.h"
#include "support/application.h"
#include "test_effects.h"

using OZ::Host::AE::SuiteTable;
using OZ::Image::formatCode;
using TestSupport::Application;

namespace {

std::vector<unsigned char> glowFrame(const StandIn::Settings& settings, OZ::Image::PixelFormatCode format,
                                     std::size_t& suitesStillHeld) {
  Application app(HostTests::entryOf<HostTests::GlowEffect>, settings);
  EXPECT_EQ(app.effect.apply(), PF_Err_NONE);
  const StandIn::SmartFrame frame = app.effect.renderFrame(app.layer(23, 17, format), 0);
  EXPECT_EQ(frame.result(), PF_Err_NONE) << frame.message;
  suitesStillHeld = app.host.heldSuites();
  EXPECT_TRUE(app.leftNothing());
  return frame.output ? TestSupport::pixelsOf(*frame.output, format) : std::vector<unsigned char>{};
}

}  // namespace

TEST(HeldSuites, AHostWithoutAnyOneOfThemRendersTheSameFrame) {
  bool StandIn::Settings::*const suites[] = {
      &StandIn::Settings::colorParamSuite, &StandIn::Settings::angleParamSuite,
      &StandIn::Settings::paramUtilsSuite, &StandIn::Settings::worldSuite,
      &StandIn::Settings::pixelFormatSuite1, &StandIn::Settings::renderSuite,
      &StandIn::Settings::layerRenderOptionsSuite, &StandIn::Settings::utilitySuite,
      &StandIn::Settings::opaqueEffectDataSuite};
  for (const auto format : {formatCode("argb"), formatCode("ae16")}) {
    std::size_t held = 0;
    const std::vector<unsigned char> reference = glowFrame({}, format, held);
    for (std::size_t missing = 0; missing < std::size(suites); ++missing) {
      StandIn::Settings settings;
      settings.*suites[missing] = false;
      EXPECT_EQ(glowFrame(settings, format, held), reference) << "without suite " << missing;
      EXPECT_EQ(held, 0u) << "without suite " << missing;
    }
    StandIn::Settings neither;
    neither.worldSuite = false;
    neither.pixelFormatSuite1 = false;
    EXPECT_EQ(glowFrame(neither, format, held), reference) << "the deep flag tells the depth";
  }
}

TEST(HeldSuites, WithoutHandleCallbacksA32BitBuildUsesTheSystemsHandles) {
  if (sizeof(void*) != 4) GTEST_SKIP() << "the 64-bit build relies on the host's handle callbacks";
  StandIn::Settings settings;
  settings.handleCallbacks = false;
  settings.applicationId = StandIn::kPremiereId;  // deep images in private blocks
  std::size_t held = 0;
  const std::vector<unsigned char> frame = glowFrame(settings, formatCode("Bgra"), held);
  StandIn::Settings withCallbacks;
  withCallbacks.applicationId = StandIn::kPremiereId;
  EXPECT_EQ(frame, glowFrame(withCallbacks, formatCode("Bgra"), held));
}

TEST(OnDemandSuites, AcquiredOnceReleasedInTableOrderAtTheSameVersion) {
  StandIn::Settings settings;
  settings.moreSuites = {{"AEGP Effect Suite", 1}, {"AEGP PF Interface Suite", 1}, {"AEGP World Suite", 3}};
  StandIn::StandInHost host(settings);
  const std::size_t before = host.suiteCalls().size();
  {
    SuiteTable table(host.inData()->pica_basicP);
    EXPECT_EQ(table.held(SuiteTable::Suite::aegpWorldSuite3), nullptr);
    const void* world = table.aegpWorldSuite3();
    EXPECT_NE(world, nullptr);
    EXPECT_EQ(table.aegpWorldSuite3(), world);
    EXPECT_NE(table.aegpEffectSuite1(), nullptr);
    EXPECT_NE(table.get(SuiteTable::Suite::aegpPFInterfaceSuite1), nullptr);
    EXPECT_EQ(host.heldSuites(), 3u) << "each acquired once";
    try {
      table.aegpRenderSuite3();
      ADD_FAILURE() << "a suite the host lacks must throw";
    } catch (int code) {
      EXPECT_EQ(code, PF_Err_BAD_CALLBACK_PARAM);
    }
  }
  EXPECT_EQ(host.heldSuites(), 0u);
  const auto calls = host.suiteCalls();
  const std::vector<std::pair<std::string, int>> releases(calls.end() - 3, calls.end());
  const std::vector<std::pair<std::string, int>> inTableOrder = {
      {"AEGP PF Interface Suite", -1}, {"AEGP Effect Suite", -1}, {"AEGP World Suite", -3}};
  EXPECT_EQ(releases, inTableOrder);
  EXPECT_EQ(calls.size(), before + 6);
}

TEST(OnDemandSuites, TheTableHas120SlotsAndNeedsABroker) {
  EXPECT_EQ(SuiteTable::kSlots, 120u);
  EXPECT_STREQ(SuiteTable::nameOf(SuiteTable::Suite::aegpLayerSuite5), "AEGP Layer Suite");
  EXPECT_EQ(SuiteTable::versionOf(SuiteTable::Suite::aegpLayerSuite5), 5);
  EXPECT_STREQ(SuiteTable::nameOf(SuiteTable::Suite::spSuitesSuite2), "SP Suites Suite");
  try {
    SuiteTable table(nullptr);
    ADD_FAILURE() << "no broker must throw";
  } catch (int code) {
    EXPECT_EQ(code, PF_Err_BAD_CALLBACK_PARAM);
  }
}
