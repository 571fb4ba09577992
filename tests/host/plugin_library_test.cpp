// The built plug-in, loaded the way the application loads it: what it
// exports, what global and parameter setup tell the host, the about box, and
// frames through both smart commands.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "standin/alert_capture.h"
#include "standin/plugin_loader.h"
#include "support/application.h"

using OZ::Image::formatCode;
using TestSupport::Application;

namespace {

StandIn::PluginLoader& plugin() {
  static StandIn::PluginLoader loaded(StandIn::PluginLoader::builtPluginPath());
  return loaded;
}

// The controls' host indexes: the input layer is 0.
constexpr PF_ParamIndex kQuirkTime = 1, kRandomQuirk = 2, kIncreaseQuirky = 3, kUnmasked = 4;

}  // namespace

TEST(PluginLibrary, ExportsPluginEntryAndNothingElse) {
  const std::string command = "nm -D --defined-only '" + plugin().path() + "'";
  std::FILE* listing = ::popen(command.c_str(), "r");
  ASSERT_NE(listing, nullptr);
  std::vector<std::string> symbols;
  char line[512];
  while (std::fgets(line, sizeof line, listing)) symbols.emplace_back(line);
  ASSERT_EQ(::pclose(listing), 0) << "nm could not list " << plugin().path();
  ASSERT_EQ(symbols.size(), 1u) << "first extra symbol: " << (symbols.size() > 1 ? symbols[1] : "");
  EXPECT_NE(symbols[0].find(" T PluginEntry"), std::string::npos) << symbols[0];
}

TEST(PluginGlobalSetup, AnnouncesVersionFlagsAndFiveFormatsThroughTheNewerSuite) {
  Application app(plugin().entry());
  ASSERT_EQ(app.effect.globalSetup(), PF_Err_NONE);
  EXPECT_EQ(app.effect.version(), 0x80600u);
  EXPECT_EQ(app.effect.outFlags(), 0x2001044);
  EXPECT_EQ(app.effect.outFlags2(), 0x1409);
  const std::vector<PF_PixelFormat> expected = {PF_PixelFormat(formatCode("bgra")), PF_PixelFormat(formatCode("Bgra")),
                                                PF_PixelFormat(formatCode("Argb")), PF_PixelFormat(formatCode("BGra")),
                                                PF_PixelFormat(formatCode("ARgb"))};
  EXPECT_EQ(app.host.registeredFormats(), expected);
  // Each format: version 2 acquired and released at once, at the same
  // version. Version 1 is the one the adapter holds for the whole call.
  int calls = 0;
  for (const auto& call : app.host.suiteCalls())
    if (call.first == "PF Pixel Format Suite" && (call.second == 2 || call.second == -2)) {
      EXPECT_EQ(call.second, calls++ % 2 == 0 ? 2 : -2);
    }
  EXPECT_EQ(calls, 10);
  EXPECT_EQ(app.host.heldSuites(), 0u);
}

TEST(PluginGlobalSetup, FallsBackToTheOlderSuiteAndToNothing) {
  StandIn::Settings older;
  older.pixelFormatSuite2 = false;
  Application withOlder(plugin().entry(), older);
  ASSERT_EQ(withOlder.effect.globalSetup(), PF_Err_NONE);
  EXPECT_EQ(withOlder.host.registeredFormats().size(), 5u);
  EXPECT_EQ(withOlder.host.heldSuites(), 0u);

  StandIn::Settings neither = older;
  neither.pixelFormatSuite1 = false;
  Application withNeither(plugin().entry(), neither);
  EXPECT_EQ(withNeither.effect.globalSetup(), PF_Err_NONE);
  EXPECT_TRUE(withNeither.host.registeredFormats().empty());
  EXPECT_EQ(withNeither.effect.outFlags(), 0x2001044);

  StandIn::Settings noBroker;
  noBroker.basicSuite = false;
  Application withoutBroker(plugin().entry(), noBroker);
  EXPECT_EQ(withoutBroker.effect.globalSetup(), PF_Err_NONE);
  EXPECT_TRUE(withoutBroker.host.registeredFormats().empty());
  EXPECT_TRUE(withoutBroker.host.suiteCalls().empty());
  EXPECT_EQ(withoutBroker.effect.outFlags2(), 0x1409);
}

TEST(PluginDispatch, CommandsWithoutAHandlerAnswerZeroAndTouchNothing) {
  Application app(plugin().entry());
  for (PF_Cmd command : {2, 3, 5, 6, 7, 8, 9, 10, 12, 15, 18, 25, 99, -1, -2147483647 - 1}) {
    PF_OutData& out = *app.host.outData();
    std::memset(&out, 0x5c, sizeof out);
    PF_OutData before;
    std::memcpy(&before, &out, sizeof out);
    EXPECT_EQ(plugin().entry()(command, app.host.inData(), &out, nullptr, nullptr, nullptr), PF_Err_NONE) << command;
    EXPECT_EQ(std::memcmp(&before, &out, sizeof out), 0) << "command " << command << " wrote to PF_OutData";
  }
  EXPECT_EQ(app.host.heldSuites(), 0u);
}

TEST(PluginParamsSetup, DefinesTheFourControlsFieldByField) {
  Application app(plugin().entry());
  ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
  ASSERT_EQ(app.effect.params.count(), 5u);
  EXPECT_EQ(app.host.outData()->num_params, 5);

  const PF_ParamDef& quirkTime = app.effect.params.at(kQuirkTime).definition;
  EXPECT_EQ(quirkTime.param_type, PF_Param_FLOAT_SLIDER);
  EXPECT_STREQ(quirkTime.name, "Quirk Time");
  EXPECT_EQ(quirkTime.uu.id, 1);
  EXPECT_EQ(quirkTime.flags, PF_ParamFlag_CANNOT_TIME_VARY);
  EXPECT_EQ(quirkTime.ui_flags, 0);
  EXPECT_EQ(quirkTime.u.fs_d.value, 3.0);
  EXPECT_EQ(quirkTime.u.fs_d.dephault, 3.0f);
  EXPECT_EQ(quirkTime.u.fs_d.valid_min, 1.0f);
  EXPECT_EQ(quirkTime.u.fs_d.valid_max, 100.0f);
  EXPECT_EQ(quirkTime.u.fs_d.slider_min, 1.0f);
  EXPECT_EQ(quirkTime.u.fs_d.slider_max, 100.0f);
  EXPECT_EQ(quirkTime.u.fs_d.precision, PF_Precision_HUNDREDTHS);
  EXPECT_EQ(quirkTime.u.fs_d.display_flags, PF_ValueDisplayFlag_NONE);
  EXPECT_EQ(quirkTime.u.fs_d.curve_tolerance, 0.05f);

  const PF_ParamDef& randomQuirk = app.effect.params.at(kRandomQuirk).definition;
  EXPECT_EQ(randomQuirk.param_type, PF_Param_FLOAT_SLIDER);
  EXPECT_STREQ(randomQuirk.name, "Random Quirk");
  EXPECT_EQ(randomQuirk.uu.id, 2);
  EXPECT_EQ(randomQuirk.flags, 0);
  EXPECT_EQ(randomQuirk.u.fs_d.value, 0.0);
  EXPECT_EQ(randomQuirk.u.fs_d.valid_max, 100.0f);
  EXPECT_EQ(randomQuirk.u.fs_d.precision, PF_Precision_TENTHS);
  EXPECT_EQ(randomQuirk.u.fs_d.display_flags, PF_ValueDisplayFlag_PERCENT);

  const char* const boxes[] = {"Increase Quirky", "Unmasked"};
  for (PF_ParamIndex index : {kIncreaseQuirky, kUnmasked}) {
    const StandIn::HostParam& box = app.effect.params.at(index);
    EXPECT_EQ(box.definition.param_type, PF_Param_CHECKBOX);
    EXPECT_STREQ(box.definition.name, "") << "the label stands beside the box";
    EXPECT_EQ(box.label, boxes[index - kIncreaseQuirky]);
    EXPECT_EQ(box.definition.uu.id, index);
    EXPECT_EQ(box.definition.u.bd.value, 0);
    EXPECT_EQ(box.definition.u.bd.dephault, 0);
    EXPECT_EQ(box.definition.flags, 0);
  }
  EXPECT_TRUE(app.host.violations().empty());
}

TEST(PluginParamsSetup, ARefusedDefinitionEndsSetupWithTheHostsCode) {
  for (int refused = 1; refused <= 4; ++refused) {
    Application app(plugin().entry());
    app.host.faults.refuseAddParam = refused;
    app.host.faults.addParamError = 1234;
    EXPECT_EQ(app.effect.paramsSetup(), 1234) << refused;
    EXPECT_EQ(app.host.outData()->num_params, 0) << refused;
    EXPECT_TRUE(app.effect.message().empty());
    EXPECT_TRUE(app.leftNothing());
  }
}

TEST(PluginAbout, ShowsTheEffectsTextUnderItsTitle) {
  Application app(plugin().entry());
  PF_Err result = -1;
  const std::string shown = StandIn::captureAlerts([&] { result = app.effect.about(); });
  EXPECT_EQ(result, PF_Err_NONE);
  EXPECT_EQ(shown.rfind("Strobe Quirk\nStrobe Quirk 1.0\n", 0), 0u) << shown;
  EXPECT_NE(shown.find("\n\n"), std::string::npos) << "the credits are set apart";
  EXPECT_EQ(shown.substr(shown.size() - 5), "[OK]\n") << "one button";
}

TEST(PluginRender, AnUnmaskedFramePassesOnAPulseAndClearsInAGap) {
  for (const OZ::Image::PixelFormatCode format : {formatCode("bgra"), formatCode("Bgra"), formatCode("ARgb")}) {
    Application app(plugin().entry());
    ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
    app.effect.params.setBool(kUnmasked, true);
    PF_EffectWorld* input = app.layer(9, 7, format);
    const std::vector<unsigned char> source = TestSupport::pixelsOf(*input, format);

    StandIn::SmartFrame pulse = app.effect.renderFrame(input, 0);
    ASSERT_EQ(pulse.result(), PF_Err_NONE) << format << ": " << pulse.message;
    ASSERT_TRUE(pulse.output);
    EXPECT_EQ(TestSupport::pixelsOf(*pulse.output, format), source) << format;
    EXPECT_EQ(pulse.resultRect.right, 9);
    EXPECT_EQ(pulse.resultRect.bottom, 7);

    StandIn::SmartFrame gap = app.effect.renderFrame(input, 3);  // quirk time 3: frames 2 to 4 are a gap
    ASSERT_EQ(gap.result(), PF_Err_NONE) << format << ": " << gap.message;
    ASSERT_TRUE(gap.output);
    const std::vector<unsigned char> cleared = TestSupport::pixelsOf(*gap.output, format);
    EXPECT_EQ(cleared, std::vector<unsigned char>(cleared.size(), 0)) << format;
    EXPECT_TRUE(gap.pixelsNotCheckedIn == std::vector<A_long>{0}) << "only the input stays out";

    EXPECT_EQ(app.effect.params.checkouts(), app.effect.params.checkins());
    EXPECT_GE(app.effect.params.checkouts(), 2u) << "smart commands read the controls by checkout";
    EXPECT_TRUE(app.host.violations().empty()) << app.host.violations().front();
    EXPECT_TRUE(app.leftNothing());
  }
}

TEST(PluginRender, ThePreRenderAsksForTheRequestOnAPulseAndForNothingInAGap) {
  Application app(plugin().entry());
  ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
  app.effect.params.setBool(kUnmasked, true);
  app.effect.params.setLayer(0, app.layer(30, 20, formatCode("bgra")));
  for (const auto& [frame, asked] : {std::pair<A_long, PF_LRect>{0, {4, 3, 17, 11}}, {3, {0, 0, 0, 0}}}) {
    app.host.setTime(frame, 1);
    PF_PreRenderInput input{};
    input.output_request.rect = {4, 3, 17, 11};
    PF_PreRenderOutput output{};
    ASSERT_EQ(app.effect.smartPreRender(input, output), PF_Err_NONE);
    const PF_LRect& granted = app.effect.lastCheckouts().at(0).result.result_rect;
    EXPECT_EQ(granted.left, asked.left) << frame;
    EXPECT_EQ(granted.right, asked.right) << frame;
    EXPECT_EQ(granted.bottom, asked.bottom) << frame;
    EXPECT_EQ(output.result_rect.left, 4) << "the effect can make the whole request";
    EXPECT_EQ(output.result_rect.bottom, 11);
    EXPECT_EQ(output.max_result_rect.right, 30);
    EXPECT_EQ(output.pre_render_data, nullptr);
  }
}

TEST(PluginRender, TheMaskedLookRendersOrFailsCleanly) {
  Application app(plugin().entry());
  ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
  PF_EffectWorld* input = app.layer(16, 12, formatCode("bgra"));
  const StandIn::SmartFrame frame = app.effect.renderFrame(input, 0);
  if (frame.result() != PF_Err_NONE) {
    // Until the blend engine is in the build, the effect says so.
    EXPECT_EQ(frame.result(), PF_Err_INTERNAL_STRUCT_DAMAGED);
    EXPECT_FALSE(frame.message.empty());
  }
  EXPECT_EQ(app.effect.params.checkouts(), app.effect.params.checkins());
  EXPECT_TRUE(app.host.violations().empty());
  EXPECT_TRUE(app.leftNothing());
}
