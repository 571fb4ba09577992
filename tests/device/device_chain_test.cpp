// Filter chains evaluated through the processor device give the processor
// path's bytes, at every level and in every format, wherever each node runs.

#include <gtest/gtest.h>

#include "device/device_graph.h"
#include "image/blend/blend_filter.h"
#include "image/filters/alpha_filter.h"
#include "image/filters/balance_filter.h"
#include "image/filters/gaussian_blur_filter.h"
#include "image/filters/hsvcc_filter.h"
#include "image/filters/premult_alpha_filter.h"
#include "image/filters/processor_flags.h"
#include "image/filters/unmult_alpha_filter.h"

using namespace OZ::Image;
using namespace TestSupport;

namespace {

struct Forced {
  const char* name;
  ProcessorFlags mask;
};
const Forced kLevels[] = {{"scalar", 0},
                          {"sse2", kFlagSSE2},
                          {"ssse3", kFlagSSE2 | kFlagSSSE3},
                          {"sse41", kFlagSSE2 | kFlagSSSE3 | kFlagSSE41},
                          {"all", ~ProcessorFlags(0)}};

void PrintTo(const Forced& level, std::ostream* out) { *out << level.name; }

class DeviceChainLevels : public ::testing::TestWithParam<Forced> {
 protected:
  void SetUp() override {
    const ProcessorFlags needed = GetParam().mask & (kFlagSSE2 | kFlagSSSE3 | kFlagSSE41);
    if ((queryProcessorFlags() & needed) != needed) GTEST_SKIP() << "processor lacks the level";
    restrictProcessorFlags(GetParam().mask);
  }
  void TearDown() override { restrictProcessorFlags(~ProcessorFlags(0)); }
};

const PixelFormatCode kFormats[] = {formatCode("argb"), formatCode("bgra"), formatCode("ae16"),
                                    formatCode("Bgra"), formatCode("ARgb"), formatCode("BGra")};

// The effect's chain: a hard levels step, full desaturation, a blur, and the
// source shown through that mask by its luma. Nodes named in `onDevice`
// get their programs.
struct MaskChain {
  enum Node { kLevels = 1, kGrey = 2, kBlur = 4, kBlend = 8, kAll = 15 };
  MaskChain(DeviceGraph& graph, ProcessorDevice* device, int onDevice = kAll, float sigmaX = 3.0f,
            float sigmaY = 2.5f) {
    levels = graph.make<BalanceFilter<DeviceHost>>(&graph.layerNode, true, 0.11f, 0.165f, 0.0f, 1.0f, 1.0f);
    grey = graph.make<HSVCCFilter<DeviceHost>>(levels, 0.0f, 0.0f, 1.0f);
    blur = graph.make<GaussianBlurFilter<DeviceHost>>(grey, BlurSigmas{sigmaX, sigmaY, 0.0f}, 0, 0);
    blend = graph.make<BlendFilter<DeviceHost>>(&graph.layerNode, blur, BlendStencilLuma, 1.0f);
    if (!device) return;
    if (onDevice & kBlend) device->attach(blend->program, "blend", "mode=31");
    if (onDevice & kLevels) device->attach(levels->program, "levelsClamped");
    if (onDevice & kGrey) device->attach(grey->program, "hsvcc");
    if (onDevice & kBlur) {
      device->attach(blur->secondProgram, "blurRows", ProcessorDevice::blurConstants(sigmaX, 0));
      device->attach(blur->program, "blurColumns", ProcessorDevice::blurConstants(sigmaY, 0));
    }
  }
  BalanceFilter<DeviceHost>* levels;
  HSVCCFilter<DeviceHost>* grey;
  GaussianBlurFilter<DeviceHost>* blur;
  BlendFilter<DeviceHost>* blend;
};

std::vector<unsigned char> processorMask(PixelFormatCode format, std::int32_t width, std::int32_t height,
                                         bool bottomUp = false) {
  DeviceGraph graph(format, width, height, 7, bottomUp);
  MaskChain chain(graph, nullptr);
  graph.render(chain.blend);
  return graph.targetBytes();
}

}  // namespace

TEST_P(DeviceChainLevels, TheMaskChainOnTheDeviceEqualsTheProcessor) {
  for (PixelFormatCode format : kFormats) {
    SCOPED_TRACE(format);
    const std::vector<unsigned char> expected = processorMask(format, 37, 29);
    ProcessorDevice device;
    DeviceGraph graph(format, 37, 29, 7);
    MaskChain chain(graph, &device);
    RecordingObserver observer;
    graph.renderOn(device, chain.blend, &observer);
    EXPECT_EQ(observer.onDevice, (std::vector<std::string>{"balance", "HSVCC", "gaussianBlur", "blend"}));
    EXPECT_TRUE(observer.onProcessor.empty());
    EXPECT_EQ(graph.targetBytes(), expected);
    EXPECT_EQ(device.liveBuffers(), 0u);
  }
}

TEST_P(DeviceChainLevels, CurvesHueAndAlphaOnTheDeviceEqualTheProcessor) {
  auto build = [](DeviceGraph& graph, ProcessorDevice* device) {
    auto* unmult = graph.make<UnmultAlphaFilter<DeviceHost>>(&graph.layerNode);
    auto* levels = graph.make<BalanceFilter<DeviceHost>>(unmult, false, 0.05f, 0.9f, 0.1f, 0.95f, 0.5f);
    auto* hue = graph.make<HSVCCFilter<DeviceHost>>(levels, 0.3f, 0.6f, 0.9f);
    auto* premult = graph.make<PremultAlphaFilter<DeviceHost>>(hue);
    if (device) {
      device->attach(unmult->program, "unmultiply");
      device->attach(levels->secondProgram, "levels");  // with a curve
      device->attach(levels->program, "levels");
      device->attach(hue->program, "hsvcc");
      device->attach(premult->program, "premultiply");
    }
    return premult;
  };
  for (PixelFormatCode format : kFormats) {
    SCOPED_TRACE(format);
    std::vector<unsigned char> expected;
    {  // one stand-in host at a time
      DeviceGraph onProcessor(format, 33, 9, 3);
      onProcessor.render(build(onProcessor, nullptr));
      expected = onProcessor.targetBytes();
    }
    ProcessorDevice device;
    DeviceGraph onDevice(format, 33, 9, 3);
    RecordingObserver observer;
    onDevice.renderOn(device, build(onDevice, &device), &observer);
    EXPECT_EQ(observer.onDevice.size(), 4u);
    EXPECT_EQ(onDevice.targetBytes(), expected);
  }
}

INSTANTIATE_TEST_SUITE_P(Levels, DeviceChainLevels, ::testing::ValuesIn(kLevels),
                         [](const auto& info) { return std::string(info.param.name); });

// Every split of the chain between device and processor: nodes on the
// processor read back what device nodes left, device nodes take up what
// the processor wrote, and a processor root hands its target down.
TEST(DeviceChain, EveryPlacementOfTheNodesGivesTheSameBytes) {
  for (PixelFormatCode format : {formatCode("bgra"), formatCode("ae16"), formatCode("ARgb")}) {
    const std::vector<unsigned char> expected = processorMask(format, 24, 20);
    for (int onDevice = 0; onDevice <= MaskChain::kAll; ++onDevice) {
      SCOPED_TRACE(testing::Message() << format << " placement " << onDevice);
      ProcessorDevice device;
      DeviceGraph graph(format, 24, 20, 7);
      MaskChain chain(graph, &device, onDevice);
      RecordingObserver observer;
      graph.renderOn(device, chain.blend, &observer);
      EXPECT_EQ(graph.targetBytes(), expected);
      EXPECT_EQ(observer.onDevice.size() + observer.onProcessor.size(), 4u);
      EXPECT_EQ(device.liveBuffers(), 0u);
    }
  }
}

TEST(DeviceChain, WithoutADeviceTheDeviceRenderIsTheProcessorRender) {
  const std::vector<unsigned char> expected = processorMask(formatCode("argb"), 20, 16);
  DeviceGraph graph(formatCode("argb"), 20, 16, 7);
  MaskChain chain(graph, nullptr);
  renderGraphOnDevice<DeviceHost>(chain.blend, &graph.host, nullptr, graph.target);
  EXPECT_EQ(graph.targetBytes(), expected);
}

// The memory and size tests send a node back to the processor, silently,
// and the bytes don't change.
TEST(DeviceChain, NodesBeyondTheDeviceLimitsRunOnTheProcessor) {
  const PixelFormatCode format = formatCode("argb");
  const std::vector<unsigned char> expected = processorMask(format, 24, 20);
  struct Case {
    const char* name;
    std::function<void(ProcessorDevice&, MaskChain&)> setUp;
    std::vector<std::string> onProcessor;
  };
  const Case cases[] = {
      {"no memory answer: no limit", [](ProcessorDevice&, MaskChain&) {}, {}},
      {"the node's own limit", [](ProcessorDevice&, MaskChain& c) { c.blur->deviceLimitBytes = c.blur->peakBytes - 1; },
       {"gaussianBlur"}},
      {"a limit the node fits", [](ProcessorDevice&, MaskChain& c) { c.blur->deviceLimitBytes = c.blur->peakBytes; }, {}},
      {"half the device's memory",
       [](ProcessorDevice& d, MaskChain& c) { d.memoryBytes = std::int64_t(c.grey->peakBytes) * 2 + 1; },
       {"gaussianBlur", "blend"}},
      {"output wider than the device takes",
       [](ProcessorDevice& d, MaskChain&) { d.answers[kInfoOutputSizeLimit] = 23; },
       {"balance", "HSVCC", "gaussianBlur", "blend"}},
      {"output that fits", [](ProcessorDevice& d, MaskChain&) { d.answers[kInfoOutputSizeLimit] = 24; }, {}},
      {"input higher than the device takes",
       [](ProcessorDevice& d, MaskChain&) { d.answers[kInfoInputSizeLimit] = 19; },
       {"balance", "HSVCC", "gaussianBlur", "blend"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ProcessorDevice device;
    DeviceGraph graph(format, 24, 20, 7);
    MaskChain chain(graph, &device);
    // The estimates are made by the render's passes; make them once first.
    prepareRender<DeviceHost>(chain.blend, &graph.host, graph.target, true);
    c.setUp(device, chain);
    RecordingObserver observer;
    graph.renderOn(device, chain.blend, &observer);
    EXPECT_EQ(observer.onProcessor, c.onProcessor);
    EXPECT_EQ(graph.targetBytes(), expected);
  }
}

// Host images reach the device wrapped in place or copied, rows top down or
// bottom up, and the result comes back by one copy into the target.
TEST(DeviceChain, UploadsAndDownloadsKeepThePixels) {
  for (bool copied : {false, true}) {
    for (bool bottomUp : {false, true}) {
      SCOPED_TRACE(testing::Message() << "copied " << copied << " bottom up " << bottomUp);
      const std::vector<unsigned char> expected = processorMask(formatCode("Bgra"), 21, 13, bottomUp);
      ProcessorDevice device;
      if (copied) device.answers[kInfoCopyImages] = 1;
      device.answers[kInfoKeepHostCopy] = 1;
      DeviceGraph graph(formatCode("Bgra"), 21, 13, 7, bottomUp);
      MaskChain chain(graph, &device);
      graph.renderOn(device, chain.blend);
      EXPECT_EQ(graph.targetBytes(), expected);
      // The layer goes up once; the target comes down once.
      EXPECT_EQ(device.count("setBufferMode 4"), copied ? 0u : 1u);
      EXPECT_EQ(device.count("copyRegion"), copied ? 2u : 1u);
      EXPECT_EQ(device.count("setBufferState 1026"), 1u);
      ASSERT_TRUE(chain.levels->hostCopy.image);
      EXPECT_EQ(chain.levels->hostCopy.image->firstRow(), graph.source.firstRow());
      chain.levels->hostCopy.release();
      EXPECT_EQ(device.liveBuffers(), 0u);
    }
  }
}
