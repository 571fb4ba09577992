// The graph passes and the evaluator on small hand-built graphs: where each
// node renders, what it shares and reuses, and what it costs.

#include <gtest/gtest.h>

#include <memory>

#include "image/clear_filter.h"
#include "image/filter_layer.h"
#include "image/filters/balance_filter.h"
#include "image/filters/gaussian_blur_filter.h"
#include "image/filters/hsvcc_filter.h"
#include "image/render_graph.h"
#include "support/host_fixture.h"
#include "support/test_filters.h"

using namespace OZ::Image;
using namespace TestSupport;

namespace {

constexpr Rect kFrame{0, 0, 8, 6};

struct GraphFixture : HostFixture {
  GraphFixture()
      : sourceWorld(layer(8, 6, formatCode("argb"))),
        targetWorld(layer(8, 6, formatCode("argb"))),
        source(&host, sourceWorld),
        target(&host, targetWorld),
        layerNode(&source, emptyRect) {
    std::memset(source.firstRow(), 3, std::size_t(sourceWorld->rowbytes) * 6);
    processLog().clear();
  }
  PF_EffectWorld* sourceWorld;
  PF_EffectWorld* targetWorld;
  Image source, target;
  FilterLayer<Host> layerNode;
};

}  // namespace

TEST(GraphEvaluation, ASharedNodeRendersOnceAndServesItsCache) {
  GraphFixture f;
  MarkNode shared("shared", 5, {&f.layerNode});
  MarkNode a("a", 6, {&shared}), b("b", 7, {&shared});
  MarkNode root("root", 9, {&a, &b});
  renderGraph<Host>(&root, &f.host, f.target);
  EXPECT_EQ(shared.processed, 1);
  EXPECT_EQ(a.processed, 1);
  EXPECT_EQ(b.processed, 1);
  EXPECT_EQ(a.lastInputs[0], b.lastInputs[0]);  // the same cached image
  EXPECT_FALSE(shared.cachedResult.image);      // freed after its last consumer
  EXPECT_EQ(f.standIn.liveWorlds(), 0u);
}

TEST(GraphEvaluation, ALayerIsViewedAndNeverHandedTheTarget) {
  GraphFixture f;
  MarkNode root("root", 9, {&f.layerNode}, /*reuse*/ true);
  renderGraph<Host>(&root, &f.host, f.target);
  EXPECT_EQ(root.lastInputs[0], f.source.firstRow());
  EXPECT_EQ(root.lastOutput, f.target.firstRow());
  EXPECT_EQ(f.source.firstRow()[0], 3);  // nobody wrote to the layer
}

TEST(GraphEvaluation, AnInputRendersStraightIntoItsConsumersTarget) {
  GraphFixture f;
  MarkNode inner("inner", 4, {&f.layerNode});
  MarkNode root("root", 9, {&inner}, /*reuse*/ true);
  renderGraph<Host>(&root, &f.host, f.target);
  EXPECT_EQ(inner.lastOutput, f.target.firstRow());
  EXPECT_EQ(root.lastInputs[0], f.target.firstRow());  // in place
  EXPECT_EQ(f.standIn.liveWorlds(), 0u);
}

TEST(GraphEvaluation, ASharedReuseCandidateMakesTheNodeAllocate) {
  GraphFixture f;
  struct FirstInputOnly : MarkNode {
    using MarkNode::MarkNode;
    bool canReuseInput(std::size_t i) const override { return i == 0; }
  };
  MarkNode shared("shared", 5, {&f.layerNode});
  MarkNode other("other", 6, {&shared});
  FirstInputOnly middle("middle", 7, {&shared, &other});
  MarkNode root("root", 9, {&middle});
  renderGraph<Host>(&root, &f.host, f.target);
  EXPECT_NE(middle.lastOutput, middle.lastInputs[0]);
  EXPECT_NE(middle.lastOutput, middle.lastInputs[1]);
  EXPECT_EQ(f.standIn.liveWorlds(), 0u);
}

TEST(GraphEvaluation, EqualCostsKeepInputOrderAndCostlierInputsGoFirst) {
  GraphFixture f;
  MarkNode x("x", 1, {&f.layerNode}), y("y", 2, {&f.layerNode});
  MarkNode root("root", 9, {&x, &y});
  renderGraph<Host>(&root, &f.host, f.target);
  EXPECT_EQ(processLog(), (std::vector<std::string>{"x", "y", "root"}));

  y.peakBytes = 10'000;
  EXPECT_EQ(inputsByCost(root, PixelDescriptor{}), (std::vector<std::size_t>{1, 0}));
}

TEST(GraphEvaluation, AGraphOfOnlyALayerCopiesItThrough) {
  GraphFixture f;
  renderGraph<Host>(&f.layerNode, &f.host, f.target);
  EXPECT_EQ(f.target.pixelAddress(7, 5)[0], 3);
}

TEST(GraphEvaluation, ALayerNothingReachesStaysUnrequested) {
  GraphFixture f;
  MarkNode dropped("dropped", 1, {&f.layerNode});
  ClearFilter<Host> clear;
  std::memset(f.target.firstRow(), 0x55, std::size_t(f.targetWorld->rowbytes) * 6);
  renderGraph<Host>(&clear, &f.host, f.target);
  EXPECT_EQ(f.layerNode.region, emptyRect);
  EXPECT_EQ(dropped.processed, 0);
  EXPECT_EQ(f.target.pixelAddress(4, 3)[2], 0);
}

TEST(GraphRegions, AnInfiniteRegionIgnoresRequestsAndAnEmptyRequestReachesNoInput) {
  GraphFixture f;
  MarkNode input("input", 1, {&f.layerNode});
  GrowNode node("node", &input, 2);
  node.region = infiniteRect;
  node.useCount = 3;
  requestRegion<Host>(&node, Rect{0, 0, 4, 4});
  EXPECT_EQ(input.region, emptyRect);
  EXPECT_EQ(node.useCount, 0u);

  node.region = emptyRect;
  requestRegion<Host>(&node, Rect{3, 3, 3, 9});
  EXPECT_EQ(node.region, emptyRect);
  requestRegion<Host>(&node, Rect{1, 1, 4, 4});
  EXPECT_EQ(input.region, (Rect{-1, -1, 6, 6}));
  requestRegion<Host>(&node, Rect{2, 2, 3, 3});  // already contained: nothing grows
  EXPECT_EQ(input.region, (Rect{-1, -1, 6, 6}));
}

TEST(GraphEstimates, PeaksOfAChainAndADiamond) {
  GraphFixture f;
  MarkNode a("a", 1, {&f.layerNode});
  MarkNode chainTop("top", 2, {&a});
  requestRegion<Host>(&chainTop, Rect{0, 0, 10, 10});
  estimatePeaks<Host>(&chainTop, PixelDescriptor{});  // 4 bytes a pixel: 400 a node
  EXPECT_EQ(f.layerNode.peakBytes, 400u);
  EXPECT_EQ(a.peakBytes, 800u);
  EXPECT_EQ(chainTop.peakBytes, 800u);

  GraphFixture g;
  MarkNode x("x", 1, {&g.layerNode}), y("y", 2, {&g.layerNode});
  MarkNode join("join", 3, {&x, &y});
  requestRegion<Host>(&join, Rect{0, 0, 10, 10});
  estimatePeaks<Host>(&join, PixelDescriptor{});
  EXPECT_EQ(x.peakBytes, 800u);
  EXPECT_EQ(join.peakBytes, 1200u);  // y's 800 while x's 400 is held; then both and the output
  EXPECT_EQ(join.totalProgressUnits(), 3u);
  EXPECT_EQ(join.totalProgressUnits(), 0u);  // counted once
}

TEST(GraphPasses, PruningUnlinksConsumersTheRootDoesNotReach) {
  GraphFixture f;
  MarkNode kept("kept", 1, {&f.layerNode}), dropped("dropped", 2, {&f.layerNode});
  pruneConsumers<Host>(&kept);
  EXPECT_EQ(f.layerNode.consumers, (std::vector<Node*>{&kept}));
  EXPECT_TRUE(dropped.inputs.empty());
}

TEST(GraphPasses, MergeableSiblingsBecomeOneNode) {
  GraphFixture f;
  MarkNode first("same", 1, {&f.layerNode}), second("same", 2, {&f.layerNode});
  MarkNode root("root", 9, {&first, &second});
  simplifyGraph<Host>(&root);
  EXPECT_EQ(root.inputs, (std::vector<Node*>{&first, &first}));
  EXPECT_TRUE(second.inputs.empty());
  EXPECT_EQ(f.layerNode.consumers, (std::vector<Node*>{&first}));
}

// A full desaturation takes in levels without a curve that feed only it:
// the graph goes from the levels' input straight into it, the levels count
// on in its progress, and a render on a device keeps the two apart.
TEST(GraphPasses, AFullDesaturationTakesInTheLevelsThatFeedOnlyIt) {
  GraphFixture f;
  BalanceFilter<Host> levels(&f.layerNode, true, 0.11f, 0.165f, 0.0f, 1.0f, 1.0f);
  HSVCCFilter<Host> grey(&levels, 0.0f, 0.0f, 1.0f);
  simplifyGraph<Host>(&grey);
  EXPECT_EQ(grey.inputs, (std::vector<Node*>{&f.layerNode}));
  EXPECT_TRUE(levels.inputs.empty());
  EXPECT_EQ(grey.totalProgressUnits(), 2u);

  GraphFixture g;
  BalanceFilter<Host> kept(&g.layerNode, true, 0.11f, 0.165f, 0.0f, 1.0f, 1.0f);
  HSVCCFilter<Host> onDevice(&kept, 0.0f, 0.0f, 1.0f);
  simplifyGraph<Host>(&onDevice, false);
  EXPECT_EQ(onDevice.inputs, (std::vector<Node*>{&kept}));
}

TEST(GraphPasses, LevelsStayApartWhereTakingThemInWouldChangeAnything) {
  struct Case {
    const char* why;
    bool clamp;
    float gamma, saturation;
  };
  for (const Case& c : {Case{"a curve", true, 0.6f, 0.0f}, Case{"no limit at white", false, 1.0f, 0.0f},
                        Case{"colour left", true, 1.0f, 0.5f}}) {
    GraphFixture f;
    BalanceFilter<Host> levels(&f.layerNode, c.clamp, 0.11f, 0.165f, 0.0f, 1.0f, c.gamma);
    HSVCCFilter<Host> hsvcc(&levels, 0.0f, c.saturation, 1.0f);
    simplifyGraph<Host>(&hsvcc);
    EXPECT_EQ(hsvcc.inputs, (std::vector<Node*>{&levels})) << c.why;
  }
  // Another reader of the levels needs their image.
  GraphFixture f;
  BalanceFilter<Host> shared(&f.layerNode, true, 0.11f, 0.165f, 0.0f, 1.0f, 1.0f);
  HSVCCFilter<Host> grey(&shared, 0.0f, 0.0f, 1.0f);
  MarkNode other("other", 1, {&shared});
  MarkNode root("root", 9, {&grey, &other});
  simplifyGraph<Host>(&root);
  EXPECT_EQ(grey.inputs, (std::vector<Node*>{&shared}));
  EXPECT_EQ(shared.inputs, (std::vector<Node*>{&f.layerNode}));
}

// A blur takes in a full desaturation that feeds only it, and then the
// levels the desaturation takes in: the graph goes from the layer into the
// blur, which counts both nodes' progress. A render on a device, or a
// second reader of the desaturation, keeps them apart.
TEST(GraphPasses, ABlurTakesInTheFullDesaturationAndItsLevels) {
  GraphFixture f;
  BalanceFilter<Host> levels(&f.layerNode, true, 0.11f, 0.165f, 0.0f, 1.0f, 1.0f);
  HSVCCFilter<Host> grey(&levels, 0.0f, 0.0f, 1.0f);
  GaussianBlurFilter<Host> blur(&grey, BlurSigmas{30.0f, 30.0f, 0.0f}, 0, 0);
  simplifyGraph<Host>(&blur);
  EXPECT_EQ(blur.inputs, (std::vector<Node*>{&f.layerNode}));
  EXPECT_EQ(f.layerNode.consumers, (std::vector<Node*>{&blur}));
  EXPECT_TRUE(grey.inputs.empty());
  EXPECT_TRUE(levels.inputs.empty());
  EXPECT_NE(grey.levelsTaken(), nullptr);
  EXPECT_EQ(blur.totalProgressUnits(), 3u);

  GraphFixture g;
  BalanceFilter<Host> keptLevels(&g.layerNode, true, 0.11f, 0.165f, 0.0f, 1.0f, 1.0f);
  HSVCCFilter<Host> keptGrey(&keptLevels, 0.0f, 0.0f, 1.0f);
  GaussianBlurFilter<Host> onDevice(&keptGrey, BlurSigmas{30.0f, 30.0f, 0.0f}, 0, 0);
  simplifyGraph<Host>(&onDevice, false);
  EXPECT_EQ(onDevice.inputs, (std::vector<Node*>{&keptGrey}));

  GraphFixture h;
  BalanceFilter<Host> sharedLevels(&h.layerNode, true, 0.11f, 0.165f, 0.0f, 1.0f, 1.0f);
  HSVCCFilter<Host> shared(&sharedLevels, 0.0f, 0.0f, 1.0f);
  GaussianBlurFilter<Host> reader(&shared, BlurSigmas{30.0f, 30.0f, 0.0f}, 0, 0);
  MarkNode other("other", 1, {&shared});
  MarkNode root("root", 9, {&reader, &other});
  simplifyGraph<Host>(&root);
  EXPECT_EQ(reader.inputs, (std::vector<Node*>{&shared}));
}
