// The effect's queries through the stand-in host: pass-through and
// transparency with "Unmasked" on, the region and identity answers, and the
// arena's clean-up when building or rendering fails.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "effect/quirk_plugin_ae.h"
#include "host/ae/parameters.h"
#include "image/render_graph.h"
#include "standin/standin_host.h"
#include "support/test_filters.h"

using namespace StrobeQuirk;
using OZ::Image::formatCode;
using OZ::Image::Rect;

namespace {

struct EffectFixture {
  EffectFixture() {
    effect.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
    store = std::make_unique<QuirkPluginAE::Store>();  // values in the records, no host behind them
    effect.defineParameters(*store);
    store->setBool(true, kUnmaskedIndex);
    sourceWorld = standIn.makeLayerWorld(5, 4, formatCode("bgra"));
    outputWorld = standIn.makeLayerWorld(5, 4, formatCode("bgra"));
    std::memset(sourceWorld->data, 200, std::size_t(sourceWorld->rowbytes) * 4);
    std::memset(outputWorld->data, 7, std::size_t(outputWorld->rowbytes) * 4);
  }
  ~EffectFixture() {
    standIn.disposeLayerWorld(sourceWorld);
    standIn.disposeLayerWorld(outputWorld);
  }
  void render(A_long frame) {
    standIn.setTime(frame, 1);
    QuirkPluginAE::Image source(&effect, sourceWorld), output(&effect, outputWorld), spare(&effect);
    effect.renderFrame(*store, source, output, spare, nullptr);
  }
  unsigned char outputByte() const { return reinterpret_cast<unsigned char*>(outputWorld->data)[5]; }

  StandIn::StandInHost standIn;
  QuirkPluginAE effect;
  std::unique_ptr<QuirkPluginAE::Store> store;
  PF_EffectWorld* sourceWorld;
  PF_EffectWorld* outputWorld;
};

}  // namespace

TEST(UnmaskedEffect, APulsePassesTheSourceAndAGapIsTransparent) {
  EffectFixture f;
  f.render(0);
  EXPECT_EQ(f.outputByte(), 200);
  f.render(3);  // quirk time 3: frames 2 to 4 are a gap
  EXPECT_EQ(f.outputByte(), 0);
  f.render(6);
  EXPECT_EQ(f.outputByte(), 200);
  EXPECT_EQ(f.standIn.liveWorlds(), 0u);
  EXPECT_EQ(f.standIn.liveHandles(), 0u);
}

TEST(UnmaskedEffect, RegionAndIdentityQueriesFollowThePulse) {
  EffectFixture f;
  QuirkPluginAE::LayerList layers;
  const Rect request{1, 1, 4, 3}, limit{0, 0, 5, 4};
  f.standIn.setTime(1, 1);
  EXPECT_EQ(f.effect.inputRect(*f.store, request, limit, layers), request);
  EXPECT_EQ(f.effect.identityLayer(*f.store, request, limit), 0);
  f.standIn.setTime(2, 1);
  EXPECT_EQ(f.effect.inputRect(*f.store, request, limit, layers), OZ::Image::emptyRect);
  EXPECT_EQ(f.effect.identityLayer(*f.store, request, limit), -1);
}

TEST(UnmaskedEffect, FramesComeFromTheHostTime) {
  EffectFixture f;
  f.standIn.setTime(50, 10);  // frame 5: a pulse
  QuirkPluginAE::LayerList layers;
  EXPECT_EQ(f.effect.currentFrame(), 5);
  EXPECT_EQ(f.effect.identityLayer(*f.store, Rect{}, Rect{0, 0, 5, 4}), 0);
}

TEST(EffectArena, NodesAreFreedWhenAConstructorThrows) {
  StandIn::StandInHost standIn;
  QuirkPluginAE effect;
  effect.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
  OZ::Image::FilterLayer<OZ::Host::AE::Host> layer(nullptr, Rect{0, 0, 4, 4});
  auto build = [&] {
    EffectGraph<OZ::Host::AE::Host> graph(&effect, &layer);
    TestSupport::MarkNode* first = graph.make<TestSupport::MarkNode>("first", 1, std::vector<TestSupport::Node*>{&layer});
    graph.make<TestSupport::FailingNode>(first);
  };
  EXPECT_THROW(build(), TestSupport::ConstructionFailure);  // the sanitizers and valgrind see no leak
}

TEST(EffectArena, ImagesAreFreedWhenANodeThrowsWhileRendering) {
  StandIn::StandInHost standIn;
  QuirkPluginAE effect;
  effect.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
  PF_EffectWorld* world = standIn.makeLayerWorld(6, 6, formatCode("argb"));
  PF_EffectWorld* outWorld = standIn.makeLayerWorld(6, 6, formatCode("argb"));
  {
    QuirkPluginAE::Image source(&effect, world), output(&effect, outWorld);
    OZ::Image::FilterLayer<OZ::Host::AE::Host> layer(&source, OZ::Image::emptyRect);
    EffectGraph<OZ::Host::AE::Host> graph(&effect, &layer);
    auto* first = graph.make<TestSupport::MarkNode>("first", 1, std::vector<TestSupport::Node*>{&layer});
    auto* second = graph.make<TestSupport::MarkNode>("second", 2, std::vector<TestSupport::Node*>{first});
    auto* failing = graph.make<TestSupport::ThrowingNode>(second);
    auto* root = graph.make<TestSupport::MarkNode>("root", 3, std::vector<TestSupport::Node*>{failing});
    EXPECT_THROW(OZ::Image::renderGraph<OZ::Host::AE::Host>(root, &effect, output), std::runtime_error);
    EXPECT_EQ(standIn.liveWorlds(), 0u);  // the intermediate images went with the exception
  }
  standIn.disposeLayerWorld(world);
  standIn.disposeLayerWorld(outWorld);
}

TEST(QuirkPlugin, IdentityAndSmallOperations) {
  QuirkPluginAE effect;
  EXPECT_STREQ(effect.effectName(), "Strobe Quirk");
  EXPECT_STREQ(effect.effectSummary(), "Strobe creation");
  EXPECT_STREQ(effect.effectVersion(), "1.0");
  EffectCode code{9, 9};
  effect.effectCode(code);
  EXPECT_EQ(code.code, 1u);
  EXPECT_EQ(code.variant, 0u);
  std::int32_t width = 0, height = 0;
  OZ::Host::AE::Parameters store(&effect);
  effect.maxTileSize(store, width, height);
  EXPECT_EQ(width, 1024);
  EXPECT_EQ(height, 1024);
  EXPECT_TRUE(effect.isReady());
}
