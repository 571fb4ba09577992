// A whole smart render under a fault that strikes at its Nth chance, for
// N = 1, 2, ... until the render gets through: every refused world or
// handle must end in "Out of memory!" and every abort in the abort code,
// with nothing left checked out or allocated, and the render that gets
// through gives the frame that a render without the fault gives. Also the other rules of a
// render on the host's threads: only thread index 0 calls the host, and
// the image does not depend on how many threads there were.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "standin/plugin_loader.h"
#include "support/application.h"
#include "test_effects.h"

using OZ::Image::formatCode;
using OZ::Image::PixelFormatCode;
using TestSupport::Application;

namespace {

StandIn::PluginLoader& plugin() {
  static StandIn::PluginLoader loaded(StandIn::PluginLoader::builtPluginPath());
  return loaded;
}

// One frame of one effect, on a host of a kind.
struct Scenario {
  std::string name;
  PF_FilterProc entry;
  StandIn::Settings settings;
  PixelFormatCode format;
  A_long frame = 0;
  std::function<void(StandIn::ParamList&)> controls = [](StandIn::ParamList&) {};
};

StandIn::Settings withoutWorldSuites() {
  StandIn::Settings settings;
  settings.worldSuite = false;
  settings.pixelFormatSuite1 = false;
  return settings;
}

StandIn::Settings premiere() {
  StandIn::Settings settings;
  settings.applicationId = StandIn::kPremiereId;
  return settings;
}

std::vector<Scenario> glowScenarios() {
  using HostTests::GlowEffect;
  const PF_FilterProc glow = HostTests::entryOf<GlowEffect>;
  return {
      {"glow, 8 bits, world suite", glow, {}, formatCode("bgra")},
      {"glow, float, world suite", glow, {}, formatCode("ARgb")},
      {"glow, 16 bits, classic worlds", glow, withoutWorldSuites(), formatCode("ae16")},
      {"glow, 16 bits, private blocks", glow, premiere(), formatCode("Bgra")},
  };
}

// The strobe effect's frames: the masked ones run the whole chain with the
// blend, on each way a host gives the plug-in memory.
std::vector<Scenario> quirkScenarios() {
  auto unmasked = [](StandIn::ParamList& params) { params.setBool(4, true); };
  auto stronger = [](StandIn::ParamList& params) { params.setBool(3, true); };
  const PF_FilterProc strobe = plugin().entry();
  return {
      {"strobe, unmasked pulse", strobe, {}, formatCode("bgra"), 0, unmasked},
      {"strobe, unmasked gap", strobe, {}, formatCode("ARgb"), 3, unmasked},
      {"strobe, masked pulse", strobe, {}, formatCode("bgra"), 0},
      {"strobe, masked gap", strobe, {}, formatCode("Bgra"), 3},
      {"strobe, masked, stronger", strobe, {}, formatCode("ARgb"), 1, stronger},
      {"strobe, masked, 16 bits, classic worlds", strobe, withoutWorldSuites(), formatCode("ae16"), 0},
      {"strobe, masked, float, private blocks", strobe, premiere(), formatCode("BGra"), 1, stronger},
  };
}

enum class Fault { World, Handle, Progress, Abort };

// Arms the fault to strike at the Nth chance from now.
void arm(StandIn::StandInHost& host, Fault fault, int n) {
  switch (fault) {
    case Fault::World: host.faults.refuseWorld = host.worldRequests() + n; break;
    case Fault::Handle: host.faults.refuseHandle = host.handleRequests() + n; break;
    case Fault::Progress: host.faults.abortOnProgress = int(host.progressTrace().size()) + n; break;
    case Fault::Abort: host.faults.abortOnCall = host.abortCalls() + n; break;
  }
}

// The scenario's frame with no fault, as bytes; empty when nothing was rendered.
std::vector<unsigned char> faultFreeFrame(const Scenario& scenario) {
  Application app(scenario.entry, scenario.settings);
  EXPECT_EQ(app.effect.apply(), PF_Err_NONE);
  scenario.controls(app.effect.params);
  const StandIn::SmartFrame frame = app.effect.renderFrame(app.layer(40, 24, scenario.format), scenario.frame);
  EXPECT_EQ(frame.result(), PF_Err_NONE) << scenario.name << ": " << frame.message;
  return frame.output ? TestSupport::pixelsOf(*frame.output, scenario.format) : std::vector<unsigned char>();
}

// Sweeps N until the frame renders; returns how many attempts failed.
int sweep(const Scenario& scenario, Fault fault) {
  const bool memory = fault == Fault::World || fault == Fault::Handle;
  const std::vector<unsigned char> expected = faultFreeFrame(scenario);
  for (int n = 1; n < 500; ++n) {
    Application app(scenario.entry, scenario.settings);
    EXPECT_EQ(app.effect.apply(), PF_Err_NONE);
    scenario.controls(app.effect.params);
    PF_EffectWorld* input = app.layer(40, 24, scenario.format);
    arm(app.host, fault, n);
    const StandIn::SmartFrame frame = app.effect.renderFrame(input, scenario.frame);
    const std::string where = scenario.name + ", fault at " + std::to_string(n);
    EXPECT_EQ(app.effect.params.checkouts(), app.effect.params.checkins()) << where;
    EXPECT_TRUE(app.host.violations().empty()) << where << ": " << app.host.violations().front();
    EXPECT_EQ(app.host.liveHandles(), 0u) << where;
    EXPECT_EQ(app.host.liveWorlds(), 0u) << where;
    if (frame.result() == PF_Err_NONE) {
      const std::vector<unsigned char> pixels =
          frame.output ? TestSupport::pixelsOf(*frame.output, scenario.format) : std::vector<unsigned char>();
      EXPECT_TRUE(pixels == expected) << where << ": the frame that got through differs from one with no fault";
      return n - 1;
    }
    if (memory) {
      EXPECT_EQ(frame.result(), PF_Err_OUT_OF_MEMORY) << where << ": " << frame.message;
      EXPECT_EQ(frame.message, "Out of memory!") << where;
    } else {
      EXPECT_EQ(frame.result(), PF_Interrupt_CANCEL) << where << ": " << frame.message;
    }
    if (testing::Test::HasFailure()) return n;
  }
  ADD_FAILURE() << scenario.name << " never got through";
  return -1;
}

}  // namespace

TEST(FaultSweep, EveryRefusedWorldOrHandleEndsInOutOfMemoryWithNothingLeft) {
  for (const Scenario& scenario : glowScenarios()) {
    const int worlds = sweep(scenario, Fault::World);
    const int handles = sweep(scenario, Fault::Handle);
    EXPECT_GT(worlds + handles, 0) << scenario.name << ": the render allocated nothing to refuse";
  }
  for (const Scenario& scenario : quirkScenarios()) {
    const int refusals = sweep(scenario, Fault::World) + sweep(scenario, Fault::Handle);
    if (scenario.name.find(", masked") != std::string::npos) {
      EXPECT_GT(refusals, 0) << scenario.name << ": the masked chain allocated nothing to refuse";
    }
  }
}

TEST(FaultSweep, AnAbortAtAnyReportEndsInTheAbortCodeWithEverythingCheckedIn) {
  for (const Scenario& scenario : glowScenarios()) {
    EXPECT_GT(sweep(scenario, Fault::Progress), 0) << scenario.name;
    sweep(scenario, Fault::Abort);
  }
  for (const Scenario& scenario : quirkScenarios()) {
    sweep(scenario, Fault::Progress);
    sweep(scenario, Fault::Abort);
  }
}

// The classic command renders into the world the host passes, with no
// pre-render to bound the graph's regions.
TEST(WholeEffect, TheClassicRenderGivesTheFrameOfTheSmartOne) {
  int compared = 0;
  for (const Scenario& scenario : quirkScenarios()) {
    Application app(scenario.entry, scenario.settings);
    ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
    scenario.controls(app.effect.params);
    PF_EffectWorld* input = app.layer(21, 13, scenario.format);
    const StandIn::SmartFrame frame = app.effect.renderFrame(input, scenario.frame);
    ASSERT_EQ(frame.result(), PF_Err_NONE) << scenario.name << ": " << frame.message;
    if (!frame.output || frame.output->width != 21 || frame.output->height != 13) continue;  // nothing to compare
    PF_EffectWorld* output = app.layer(21, 13, scenario.format);
    ASSERT_EQ(app.effect.render(*output), PF_Err_NONE) << scenario.name << ": " << app.effect.message();
    EXPECT_EQ(TestSupport::pixelsOf(*output, scenario.format), TestSupport::pixelsOf(*frame.output, scenario.format))
        << scenario.name;
    EXPECT_TRUE(app.host.violations().empty()) << scenario.name;
    EXPECT_TRUE(app.leftNothing()) << scenario.name;
    ++compared;
  }
  EXPECT_GE(compared, 5) << "every masked frame covers its layer";
}

// A classic render whose input parameter holds no pixels: the masked
// chain meets regions it cannot allocate, and must stay inside its memory.
TEST(WholeEffect, AClassicRenderWithoutInputPixelsTouchesNothingOutside) {
  for (const Scenario& scenario : quirkScenarios()) {
    Application app(scenario.entry, scenario.settings);
    ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
    scenario.controls(app.effect.params);
    PF_EffectWorld* output = app.layer(3, 2, scenario.format);
    EXPECT_EQ(app.effect.render(*output), PF_Err_NONE) << scenario.name << ": " << app.effect.message();
    EXPECT_TRUE(app.host.violations().empty()) << scenario.name;
    EXPECT_TRUE(app.leftNothing()) << scenario.name;
  }
}

TEST(HostThreads, OnlyThreadIndexZeroCallsTheHost) {
  for (const Scenario& scenario : glowScenarios()) {
    StandIn::Settings settings = scenario.settings;
    settings.iterations = 6;
    Application app(scenario.entry, settings);
    ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
    const StandIn::SmartFrame frame = app.effect.renderFrame(app.layer(64, 48, scenario.format), 0);
    ASSERT_EQ(frame.result(), PF_Err_NONE) << scenario.name << ": " << frame.message;
    EXPECT_FALSE(app.host.progressTrace().empty()) << scenario.name;
    EXPECT_TRUE(app.host.violations().empty()) << scenario.name << ": " << app.host.violations().front();
  }
}

TEST(HostThreads, TheImageIsTheSameOnOneThreadAndOnMany) {
  auto hostLike = [](const StandIn::Settings& base, int iterations, A_short version = 13, bool iterate = true) {
    StandIn::Settings settings = base;
    settings.iterations = iterations;
    settings.versionMajor = version;
    settings.iterateGeneric = iterate;
    return settings;
  };
  std::vector<Scenario> scenarios = glowScenarios();
  for (const Scenario& scenario : quirkScenarios()) scenarios.push_back(scenario);
  for (const Scenario& scenario : scenarios) {
    const std::vector<std::pair<const char*, StandIn::Settings>> hosts = {
        {"one iteration", hostLike(scenario.settings, 1)},
        {"three", hostLike(scenario.settings, 3)},
        {"eight", hostLike(scenario.settings, 8)},
        {"an old host", hostLike(scenario.settings, 8, 11)},
        {"no threaded iteration", hostLike(scenario.settings, 8, 13, false)}};
    std::vector<unsigned char> first;
    for (const auto& [name, settings] : hosts) {
      Application app(scenario.entry, settings);
      ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
      scenario.controls(app.effect.params);
      const StandIn::SmartFrame frame = app.effect.renderFrame(app.layer(37, 29, scenario.format), scenario.frame);
      ASSERT_EQ(frame.result(), PF_Err_NONE) << scenario.name << ", " << name << ": " << frame.message;
      const std::vector<unsigned char> pixels = TestSupport::pixelsOf(*frame.output, scenario.format);
      if (first.empty())
        first = pixels;
      else
        EXPECT_EQ(pixels, first) << scenario.name << ", " << name;
    }
  }
}
