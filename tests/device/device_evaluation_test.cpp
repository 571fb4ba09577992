// Where the device evaluation puts each node, what it shares, and what it
// frees when a kernel fails.

#include <gtest/gtest.h>

#include "device/device_graph.h"
#include "image/clear_filter.h"
#include "image/filters/balance_filter.h"
#include "image/filters/gaussian_blur_filter.h"
#include "image/filters/hsvcc_filter.h"
#include "image/filters/premult_alpha_filter.h"
#include "image/filters/unmult_alpha_filter.h"

using namespace OZ::Image;
using namespace TestSupport;

namespace {

// The nodes of every class, over one layer.
struct EveryNode {
  explicit EveryNode(DeviceGraph& graph)
      : layer(&graph.layerNode),
        clear(graph.make<ClearFilter<DeviceHost>>()),
        levels(graph.make<BalanceFilter<DeviceHost>>(layer, true, 0.1f, 0.9f, 0.0f, 1.0f, 1.0f)),
        hue(graph.make<HSVCCFilter<DeviceHost>>(layer, 0.5f, 1.0f, 1.0f)),
        blur(graph.make<GaussianBlurFilter<DeviceHost>>(layer, BlurSigmas{2.0f, 2.0f, 0.0f}, 0, 0)),
        premult(graph.make<PremultAlphaFilter<DeviceHost>>(layer)),
        unmult(graph.make<UnmultAlphaFilter<DeviceHost>>(layer)) {}
  std::vector<GraphNode*> all() const { return {layer, clear, levels, hue, blur, premult, unmult}; }
  GraphNode* layer;
  GraphNode* clear;
  BalanceFilter<DeviceHost>* levels;
  HSVCCFilter<DeviceHost>* hue;
  GaussianBlurFilter<DeviceHost>* blur;
  GraphNode* premult;
  GraphNode* unmult;
};

// Copies its first input; stands for any node the device can't run.
class FirstInputNode : public GraphNode {
 public:
  FirstInputNode(std::vector<GraphNode*> from, int mode = 0) : mode(mode) {
    for (GraphNode* input : from) connectInput(input);
  }
  const char* filterName() const override { return "first"; }
  int deviceMode(DeviceContext* device) const override { return device ? mode : 0; }
  void process(DeviceHost*, HostImage& output, HostImage* const* inputImages) override {
    for (std::size_t i = 0; i < inputs.size(); ++i) seen.push_back(inputImages[i]->firstRow());
    output.copyFrom(*inputImages[0]);
  }
  void processSpecial(DeviceHost*, DeviceContext*, DeviceObserver*, const HostImage&, Result&,
                      std::vector<Result>& inputResults) override {
    special = inputResults.size();
  }
  int mode;
  std::vector<unsigned char*> seen;
  std::size_t special = 0;
};

}  // namespace

TEST(DeviceMode, WithoutAUsableDriverEveryNodeRunsOnTheProcessor) {
  ProcessorDevice device;
  DeviceGraph graph(formatCode("argb"), 8, 6);
  EveryNode nodes(graph);
  // Programs everywhere, so that only the missing driver decides.
  for (GraphNode* node : nodes.all()) device.attach(node->program, "record");
  graph.layerNode.deviceState = &device.context;

  DeviceContext noTable;
  noTable.usable = 1;
  for (GraphNode* node : nodes.all()) {
    SCOPED_TRACE(node->filterName());
    EXPECT_EQ(node->deviceMode(nullptr), 0);
    EXPECT_EQ(node->deviceMode(&noTable), 0);
    device.context.usable = 0;
    EXPECT_EQ(node->deviceMode(&device.context), 0);
    device.context.usable = 1;
    EXPECT_EQ(node->deviceMode(&device.context), 1);
  }
}

TEST(DeviceMode, WithoutProgramsOnlyTheSourcesTakeTheDevice) {
  ProcessorDevice device;
  DeviceGraph graph(formatCode("argb"), 8, 6);
  EveryNode nodes(graph);
  for (GraphNode* node : std::initializer_list<GraphNode*>{nodes.levels, nodes.hue, nodes.blur, nodes.premult, nodes.unmult})
    EXPECT_EQ(node->deviceMode(&device.context), 0) << node->filterName();
  EXPECT_EQ(nodes.clear->deviceMode(&device.context), 1);
  EXPECT_EQ(nodes.layer->deviceMode(&device.context), 0);  // until it knows its device
  nodes.layer->buildProgram(&graph.host, &device.context, PixelDescriptor{});
  EXPECT_EQ(nodes.layer->deviceMode(&device.context), 1);
  // The filters' own builds make no program: that is the driver's part.
  for (GraphNode* node : std::initializer_list<GraphNode*>{nodes.levels, nodes.hue, nodes.premult, nodes.unmult}) {
    node->buildProgram(&graph.host, &device.context, PixelDescriptor{});
    EXPECT_FALSE(node->program) << node->filterName();
  }
  EXPECT_EQ(device.count("buildProgram"), 0u);
}

TEST(DeviceEvaluation, AFailingKernelLeavesNoBufferBehind) {
  for (const char* failing : {"levelsClamped", "hsvcc", "blurRows", "blurColumns"}) {
    SCOPED_TRACE(failing);
    ProcessorDevice device;
    device.failingKernel = failing;
    DeviceGraph graph(formatCode("ae16"), 19, 11);
    auto* levels = graph.make<BalanceFilter<DeviceHost>>(&graph.layerNode, true, 0.11f, 0.165f, 0.0f, 1.0f, 1.0f);
    auto* grey = graph.make<HSVCCFilter<DeviceHost>>(levels, 0.0f, 0.0f, 1.0f);
    auto* blur = graph.make<GaussianBlurFilter<DeviceHost>>(grey, BlurSigmas{2.0f, 2.0f, 0.0f}, 0, 0);
    device.attach(levels->program, "levelsClamped");
    device.attach(grey->program, "hsvcc");
    device.attach(blur->secondProgram, "blurRows", ProcessorDevice::blurConstants(2.0f, 0));
    device.attach(blur->program, "blurColumns", ProcessorDevice::blurConstants(2.0f, 0));
    EXPECT_THROW(graph.renderOn(device, blur), std::runtime_error);
    EXPECT_EQ(device.liveBuffers(), 0u);
    EXPECT_EQ(device.count("createImage"), std::string(failing).rfind("blur", 0) == 0 ? 1u : 0u);
  }
}

TEST(DeviceEvaluation, ASharedNodeRunsOnceAndItsBufferServesEveryConsumer) {
  std::vector<unsigned char> expected;
  {  // one stand-in host at a time
    DeviceGraph reference(formatCode("bgra"), 16, 9);
    auto* levels = reference.make<BalanceFilter<DeviceHost>>(&reference.layerNode, false, 0.2f, 0.8f, 0.0f, 1.0f, 1.0f);
    reference.render(reference.make<HSVCCFilter<DeviceHost>>(levels, 0.25f, 1.0f, 1.0f));
    expected = reference.targetBytes();
  }
  ProcessorDevice device;
  DeviceGraph graph(formatCode("bgra"), 16, 9);
  auto* levels = graph.make<BalanceFilter<DeviceHost>>(&graph.layerNode, false, 0.2f, 0.8f, 0.0f, 1.0f, 1.0f);
  auto* left = graph.make<HSVCCFilter<DeviceHost>>(levels, 0.25f, 1.0f, 1.0f);
  auto* right = graph.make<PremultAlphaFilter<DeviceHost>>(levels);  // unlike nodes: no merge
  auto* root = graph.make<FirstInputNode>(std::vector<GraphNode*>{left, right});
  device.attach(levels->program, "levels");
  device.attach(left->program, "hsvcc");
  device.attach(right->program, "premultiply");
  RecordingObserver observer;
  graph.renderOn(device, root, &observer);

  EXPECT_EQ(observer.onDevice, (std::vector<std::string>{"balance", "HSVCC", "PremultAlpha"}));
  ASSERT_EQ(device.runs.size(), 3u);
  EXPECT_EQ(device.runs[1].inputs[0].id, device.runs[2].inputs[0].id);  // the one buffer of the shared node
  EXPECT_NE(device.runs[1].target.id, device.runs[0].target.id);        // a shared result is never overwritten
  EXPECT_EQ(device.count("wrapMemory"), 1u + 2u);                 // the layer once; two downloads
  EXPECT_EQ(observer.downloads, 2);                               // each hue result, for the processor root
  ASSERT_EQ(root->seen.size(), 2u);
  EXPECT_FALSE(levels->cachedResult.image || levels->cachedResult.device);  // freed after its last consumer
  EXPECT_EQ(device.liveBuffers(), 0u);
  EXPECT_EQ(graph.targetBytes(), expected);
}

TEST(DeviceEvaluation, SourcesOnTheDevice) {
  ProcessorDevice device;
  DeviceGraph graph(formatCode("ARgb"), 10, 7);
  // A layer as the root goes up and comes back unchanged.
  graph.renderOn(device, &graph.layerNode);
  EXPECT_EQ(graph.targetBytes(), graph.bytes(graph.source));
  EXPECT_EQ(device.count("copyRegion"), 2u);

  // A clear plane is cleared by the device, also as a device node's input.
  auto* clear = graph.make<ClearFilter<DeviceHost>>();
  auto* premult = graph.make<PremultAlphaFilter<DeviceHost>>(clear);
  device.attach(premult->program, "premultiply");
  graph.renderOn(device, premult);
  EXPECT_EQ(graph.targetBytes(), std::vector<unsigned char>(graph.targetBytes().size(), 0));
  EXPECT_EQ(device.count("clearRegion"), 1u);
  EXPECT_EQ(device.liveBuffers(), 0u);
}

TEST(DeviceEvaluation, ModesThatReplaceTheKernel) {
  std::vector<unsigned char> expected;
  {  // one stand-in host at a time
    DeviceGraph reference(formatCode("argb"), 6, 4);
    reference.render(reference.make<BalanceFilter<DeviceHost>>(&reference.layerNode, false, 0.0f, 1.0f, 0.0f, 0.5f, 1.0f));
    expected = reference.targetBytes();
  }
  ProcessorDevice device;
  DeviceGraph graph(formatCode("argb"), 6, 4);
  auto* levels = graph.make<BalanceFilter<DeviceHost>>(&graph.layerNode, false, 0.0f, 1.0f, 0.0f, 0.5f, 1.0f);
  auto* root = graph.make<FirstInputNode>(std::vector<GraphNode*>{levels}, 2);
  device.attach(levels->program, "levels");
  graph.renderOn(device, root);
  // After a finish the processor reads what the device made.
  EXPECT_EQ(device.count("finish"), 1u);
  ASSERT_EQ(root->seen.size(), 1u);
  EXPECT_EQ(graph.targetBytes(), expected);

  root->mode = 3;
  graph.renderOn(device, root);
  EXPECT_EQ(root->special, 1u);
  EXPECT_EQ(root->seen.size(), 1u);  // no processor run
}

TEST(DeviceEvaluation, StagesRunAsOneProgramWithArgumentsNamedByStage) {
  ProcessorDevice device;
  DeviceGraph graph(formatCode("argb"), 6, 4);
  BalanceFilter<DeviceHost> levelsStage(&graph.layerNode, false, 0.0f, 1.0f, 0.0f, 0.5f, 2.0f);
  HSVCCFilter<DeviceHost> hueStage(&graph.layerNode, 0.1f, 0.2f, 0.3f);
  // A stage that reserves more entries than it fills: the empty ones go.
  class PaddedStage : public FirstInputNode {
   public:
    using FirstInputNode::FirstInputNode;
    std::size_t kernelArgumentCount() const override { return 3; }
    void fillKernelArguments(KernelArgument* arguments) const override { arguments[0] = integerArgument("n", 7); }
  } paddedStage({&graph.layerNode});
  auto* fused = graph.make<PremultAlphaFilter<DeviceHost>>(&graph.layerNode);
  fused->stages = {&levelsStage, &hueStage, &paddedStage};
  device.attach(fused->program, "record-fused");
  graph.renderOn(device, fused);

  ASSERT_EQ(device.runs.size(), 1u);
  EXPECT_EQ(device.runs[0].argumentNames,
            (std::vector<std::string>{"scale_0", "offset_0", "gamma_0", "ccH_1", "ccSV_1", "n_2"}));
  EXPECT_EQ(argumentInteger(device.runs[0].arguments["n_2"]), 7);
  EXPECT_EQ(argumentFloat(device.runs[0].arguments["ccSV_1"], 1), 0.3f);
}
