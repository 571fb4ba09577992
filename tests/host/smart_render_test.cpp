// Layers and render calls: the regions the pre-render works out, extra
// layers checked out and given back on every way out, in a smart and in a
// classic render.

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/application.h"
#include "test_effects.h"

using HostTests::behaviour;
using HostTests::GlowEffect;
using HostTests::LayersEffect;
using OZ::Image::formatCode;
using TestSupport::Application;

namespace {

bool operator==(const PF_LRect& a, const PF_LRect& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

PF_PreRenderInput requestFor(const PF_LRect& rect) {
  PF_PreRenderInput input{};
  input.output_request.rect = rect;
  input.output_request.channel_mask = PF_ChannelMask_RED;
  input.bitdepth = 8;
  return input;
}

// A LayersEffect with its input and two extra layers of other sizes.
struct LayersFixture {
  LayersFixture() : app(HostTests::entryOf<LayersEffect>) {
    behaviour() = {};
    LayersEffect::layersWanted = 2;
    EXPECT_EQ(app.effect.apply(), PF_Err_NONE);
    input = app.layer(10, 8, formatCode("bgra"));
    first = app.layer(6, 4, formatCode("bgra"));
    second = app.layer(10, 8, formatCode("ARgb"));  // another format: converted for the effect
    *reinterpret_cast<unsigned char*>(first->data) = 11;
    for (int channel = 0; channel < 4; ++channel) reinterpret_cast<float*>(second->data)[channel] = 1.0f;
    app.effect.params.setLayer(1, first);
    app.effect.params.setLayer(3, second);
  }
  ~LayersFixture() {
    behaviour() = {};
    LayersEffect::layersWanted = 2;
  }
  Application app;
  PF_EffectWorld *input, *first, *second;
};

}  // namespace

TEST(SmartPreRender, AsksForTheInputRegionTheEffectNeedsAndReportsWhatItCanMake) {
  Application app(HostTests::entryOf<GlowEffect>);
  ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
  app.effect.params.setLayer(0, app.layer(40, 24, formatCode("bgra")));
  PF_PreRenderInput input = requestFor({5, 5, 20, 15});
  PF_PreRenderOutput output{};
  ASSERT_EQ(app.effect.smartPreRender(input, output), PF_Err_NONE);
  const auto& checkout = app.effect.lastCheckouts().at(0);
  EXPECT_EQ(checkout.index, 0);
  EXPECT_TRUE((checkout.request.rect == PF_LRect{-2, -2, 27, 22})) << "the blur reaches 7 pixels further";
  EXPECT_EQ(checkout.request.channel_mask, PF_ChannelMask_ARGB);
  EXPECT_EQ(checkout.request.preserve_rgb_of_zero_alpha, 1);
  EXPECT_TRUE((output.result_rect == PF_LRect{5, 5, 20, 15}));
  EXPECT_TRUE((output.max_result_rect == PF_LRect{0, 0, 40, 24}));
  EXPECT_EQ(output.pre_render_data, nullptr) << "no extra layers, no array";

  behaviour().usesInputRect = false;
  ASSERT_EQ(app.effect.smartPreRender(input, output), PF_Err_NONE);
  EXPECT_TRUE((app.effect.lastCheckouts().at(0).request.rect == PF_LRect{-100000, -100000, 100000, 100000}));
  behaviour() = {};
}

TEST(SmartPreRender, MergesIntoWhatTheHostHolds) {
  Application app(HostTests::entryOf<GlowEffect>);
  ASSERT_EQ(app.effect.apply(), PF_Err_NONE);
  app.effect.params.setLayer(0, app.layer(40, 24, formatCode("bgra")));
  int sentinel = 0;
  PF_PreRenderOutput output{};
  output.result_rect = {45, 45, 55, 55};
  output.max_result_rect = {-5, -5, 3, 3};
  output.pre_render_data = &sentinel;
  PF_PreRenderInput outside = requestFor({50, 50, 60, 60});  // nothing of the layer is there
  ASSERT_EQ(app.effect.smartPreRender(outside, output), PF_Err_NONE);
  EXPECT_TRUE((output.result_rect == PF_LRect{50, 50, 55, 55})) << "kept, then clipped to the request";
  EXPECT_TRUE((output.max_result_rect == PF_LRect{-5, -5, 40, 24})) << "grown, never clipped";
  EXPECT_EQ(output.pre_render_data, &sentinel);
  EXPECT_EQ(output.delete_pre_render_data_func, nullptr);

  output.result_rect = {30, 20, 45, 30};
  PF_PreRenderInput inside = requestFor({0, 0, 40, 24});
  ASSERT_EQ(app.effect.smartPreRender(inside, output), PF_Err_NONE);
  EXPECT_TRUE((output.result_rect == PF_LRect{0, 0, 40, 24}));
}

TEST(SmartRender, ExtraLayersArriveCentredAndInTheOutputsFormat) {
  LayersFixture f;
  const StandIn::SmartFrame frame = f.app.effect.renderFrame(f.input, 0);
  ASSERT_EQ(frame.result(), PF_Err_NONE) << frame.message;
  const auto& checkouts = f.app.effect.lastCheckouts();
  ASSERT_EQ(checkouts.size(), 3u);
  EXPECT_EQ(checkouts.at(1).index, 1);
  EXPECT_EQ(checkouts.at(2).index, 3) << "the second layer control sits behind the slider";
  EXPECT_EQ(LayersEffect::seen[0], 11);
  EXPECT_EQ(LayersEffect::seen[1], 255) << "1.0 as a byte of the output's format";
  EXPECT_EQ(LayersEffect::boundsSeen[0], (OZ::Image::Rect{2, 2, 8, 6})) << "moved to the input's centre";
  EXPECT_EQ(LayersEffect::boundsSeen[1], (OZ::Image::Rect{0, 0, 10, 8}));
  EXPECT_EQ(frame.pixelsNotCheckedIn, std::vector<A_long>{0}) << "only the input stays out";
  EXPECT_EQ(f.app.effect.pixelCheckins(), 2);
  EXPECT_TRUE(f.app.host.violations().empty());
  EXPECT_TRUE(f.app.leftNothing());
}

TEST(SmartRender, EveryLayerIsCheckedInOnEveryWayOut) {
  struct WayOut {
    const char* name;
    std::function<void(LayersFixture&)> arrange;
    PF_Err result;
  };
  const WayOut ways[] = {
      {"success", [](LayersFixture&) {}, PF_Err_NONE},
      {"a refused layer", [](LayersFixture& f) { f.app.host.faults.refuseLayerPixels = 3; }, PF_Err_OUT_OF_MEMORY},
      {"an exception",
       [](LayersFixture&) { behaviour().inRender = [](HostTests::Host&) { throw std::runtime_error("no"); }; },
       PF_Err_INTERNAL_STRUCT_DAMAGED},
      {"an abort",
       [](LayersFixture& f) {
         f.app.host.faults.abortOnProgress = 1;
         behaviour().inRender = [](HostTests::Host& host) { host.reportProgress(0, 1, 2); };
       },
       PF_Interrupt_CANCEL},
  };
  for (const WayOut& way : ways) {
    {
      LayersFixture f;
      way.arrange(f);
      const StandIn::SmartFrame frame = f.app.effect.renderFrame(f.input, 0);
      EXPECT_EQ(frame.result(), way.result) << "smart, " << way.name;
      EXPECT_EQ(frame.pixelsNotCheckedIn, std::vector<A_long>{0}) << "smart, " << way.name;
      EXPECT_EQ(f.app.effect.params.outstanding(), 0u) << "smart, " << way.name;
      EXPECT_TRUE(f.app.host.violations().empty()) << "smart, " << way.name;
      EXPECT_TRUE(f.app.leftNothing()) << "smart, " << way.name;
    }
    {
      LayersFixture f;
      way.arrange(f);
      f.app.host.faults.refuseLayerPixels = 0;  // a classic render checks layers out as parameters
      f.app.effect.params.setLayer(0, f.input);
      PF_EffectWorld* output = f.app.layer(10, 8, formatCode("bgra"));
      const PF_Err result = f.app.effect.render(*output);
      EXPECT_EQ(result, way.result == PF_Err_OUT_OF_MEMORY ? PF_Err_NONE : way.result) << "classic, " << way.name;
      EXPECT_EQ(f.app.effect.params.outstanding(), 0u) << "classic, " << way.name;
      EXPECT_EQ(f.app.effect.params.checkouts(), f.app.effect.params.checkins()) << "classic, " << way.name;
      EXPECT_TRUE(f.app.host.violations().empty()) << "classic, " << way.name;
      EXPECT_TRUE(f.app.leftNothing()) << "classic, " << way.name;
    }
  }
}

TEST(SmartRender, TheHostsRefusalsComeBackAsTheirCodes) {
  for (int refused = 1; refused <= 3; ++refused) {
    LayersFixture f;
    f.app.host.faults.refuseLayerCheckout = refused;
    const StandIn::SmartFrame frame = f.app.effect.renderFrame(f.input, 0);
    EXPECT_EQ(frame.preRenderResult, PF_Err_OUT_OF_MEMORY) << refused;
    EXPECT_TRUE(frame.message.empty()) << "the host's own code carries no message";
    EXPECT_TRUE(f.app.leftNothing());
  }
  LayersFixture f;
  f.app.host.faults.refuseOutput = true;
  const StandIn::SmartFrame frame = f.app.effect.renderFrame(f.input, 0);
  EXPECT_EQ(frame.renderResult, PF_Err_OUT_OF_MEMORY);
  EXPECT_EQ(f.app.effect.pixelCheckouts(), 1) << "nothing more is asked once the output is refused";
  EXPECT_TRUE(f.app.leftNothing());
}

TEST(SmartRender, ALayerNumberWithoutAControlIsRefused) {
  LayersFixture f;
  LayersEffect::layersWanted = 3;
  const StandIn::SmartFrame frame = f.app.effect.renderFrame(f.input, 0);
  EXPECT_EQ(frame.preRenderResult, PF_Err_INTERNAL_STRUCT_DAMAGED);
  EXPECT_EQ(frame.message, "Invalid layer");
  EXPECT_FALSE(frame.rendered);
  EXPECT_TRUE(f.app.leftNothing());
}

TEST(ClassicRender, TheOutputIsTheOnePassedAndLayersComeAsParameters) {
  LayersFixture f;
  f.app.effect.params.setLayer(0, f.input);
  PF_EffectWorld* output = f.app.layer(10, 8, formatCode("bgra"));
  ASSERT_EQ(f.app.effect.render(*output), PF_Err_NONE) << f.app.effect.message();
  EXPECT_EQ(TestSupport::pixelsOf(*output, formatCode("bgra")), TestSupport::pixelsOf(*f.input, formatCode("bgra")));
  EXPECT_EQ(LayersEffect::seen[0], 11);
  EXPECT_EQ(LayersEffect::boundsSeen[0], (OZ::Image::Rect{0, 0, 6, 4})) << "no pre-render, no offsets";
  EXPECT_EQ(f.app.effect.pixelCheckouts(), 0);
  EXPECT_TRUE(f.app.host.violations().empty());
}
