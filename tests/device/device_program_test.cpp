// Programs on a device: the cache that builds a key once and remembers a
// failure, the options a build gets, and the release of programs.

#include <gtest/gtest.h>

#include "device/device_graph.h"
#include "image/device_program.h"
#include "image/exception.h"

using namespace OZ::Image;
using namespace TestSupport;

namespace {

// A node whose program comes from its own kernel source, built through the
// inherited buildProgram. On the processor it passes its input through.
class ProgramNode : public GraphNode {
 public:
  ProgramNode(GraphNode* input, std::string key, std::string text) : key(std::move(key)), text(std::move(text)) {
    connectInput(input);
  }
  const char* filterName() const override { return "program"; }
  bool canReuseInput(std::size_t) const override { return true; }
  KernelSource kernelSource(DeviceHost*, DeviceContext*, const PixelDescriptor&) const override {
    KernelSource source;
    source.key = key;
    source.source = text;
    return source;
  }
  void process(DeviceHost*, HostImage& output, HostImage* const* inputImages) override {
    if (output.firstRow() != inputImages[0]->firstRow()) output.copyFrom(*inputImages[0]);
  }
  std::string key, text;
};

std::string optionsFor(ProcessorDevice& device, const std::string& text, const char* extra = nullptr) {
  SharedRef<DeviceProgram> program;
  KernelSource source;
  source.key = text + std::to_string(device.buildOptions.size());
  source.source = text;
  buildCachedProgram(device.context, program, source, extra);
  return device.buildOptions.back();
}

}  // namespace

TEST(DeviceProgramCache, NodesOfOneKeyShareOneBuildAcrossRenders) {
  ProcessorDevice device;
  DeviceGraph graph(formatCode("argb"), 8, 5);
  auto* first = graph.make<ProgramNode>(&graph.layerNode, "pass", "record");
  auto* second = graph.make<ProgramNode>(first, "pass", "record");
  graph.renderOn(device, second);
  graph.renderOn(device, second);
  EXPECT_EQ(device.count("buildProgram"), 1u);
  ASSERT_TRUE(first->program && second->program);
  EXPECT_EQ(first->program->handle, second->program->handle);
  EXPECT_EQ(device.runs.size(), 4u);  // both nodes ran on the device, twice
  EXPECT_EQ(device.liveBuffers(), 0u);
}

TEST(DeviceProgramCache, AFailedBuildIsMarkedAndRefusedWithoutAnotherTry) {
  ProcessorDevice device;
  device.failingBuilds = {"broken"};
  DeviceGraph graph(formatCode("argb"), 8, 5);
  auto* node = graph.make<ProgramNode>(&graph.layerNode, "broken-key", "broken");
  EXPECT_THROW(graph.renderOn(device, node), std::runtime_error);
  ASSERT_EQ(device.context.programCache.count("broken-key"), 1u);
  EXPECT_FALSE(device.context.programCache["broken-key"]);  // the mark of failure

  try {
    graph.renderOn(device, node);
    FAIL() << "a failed key was built again";
  } catch (const OZ::Exception& error) {
    EXPECT_STREQ(error.what(), "Previous build failure: broken-key");
  }
  EXPECT_EQ(device.count("buildProgram"), 1u);
  EXPECT_EQ(device.liveBuffers(), 0u);
}

TEST(DeviceProgramCache, AProgramIsReleasedWithItsLastHolder) {
  ProcessorDevice device;
  SharedRef<DeviceProgram> held;
  device.attach(held, "record");
  EXPECT_EQ(device.livePrograms(), 1u);
  device.context.programCache.clear();
  EXPECT_EQ(device.livePrograms(), 1u);  // the node's reference keeps it
  held.reset();
  EXPECT_EQ(device.livePrograms(), 0u);
}

TEST(DeviceProgramText, PiecesAreJoinedWithoutTheirClosingZeros) {
  const KernelSourcePart parts[] = {{"kernel void f()", 16}, {"", 1}, {" {}", 4}, {nullptr, 0}};
  KernelSource source;
  source.parts = parts;
  source.source = "ignored";
  EXPECT_EQ(programText(source), "kernel void f() {}");
  source.parts = nullptr;
  EXPECT_EQ(programText(source), "ignored");
}

// Only a device that converts formats itself gets its channel order (and
// the inverse order) and its white scale; identity orders, exact scales and
// compiled texts get nothing.
TEST(DeviceBuildOptions, ChannelOrderAndScaleOfADeviceThatConvertsFormats) {
  struct Case {
    std::uint8_t nativeFormat, swizzle;
    std::int32_t type;
    std::uint32_t white;
    const char *text, *extra, *options;
  };
  const Case cases[] = {
      {0, 108, kUnsigned16, 32768, "record", nullptr, ""},
      {1, 27, kUnsigned8, 0, "record", nullptr, ""},
      // Red at lane 1, green 2, blue 3, alpha 0; the inverse puts lane 0 at 3.
      {1, 108, kUnsigned16, 32768, "record", nullptr,
       "-D PIXEL_SWIZZLE=yzwx -D PIXEL_SWIZZLE1=wxyz -D PIXEL_SCALE=0.500008f"},
      {1, 108, kUnsigned16, 32768, "record", "-O2",
       "-O2 -D PIXEL_SWIZZLE=yzwx -D PIXEL_SWIZZLE1=wxyz -D PIXEL_SCALE=0.500008f"},
      {1, 108, kUnsigned16, 32768, "BUILT record", "-O2", ""},
      {1, 147, kUnsigned8, 255, "record", nullptr, "-D PIXEL_SWIZZLE=zyxw -D PIXEL_SWIZZLE1=zyxw"},
      {1, 27, kFloat32, 2, "record", nullptr, "-D PIXEL_SCALE=2.000000f"},  // float white is the scale
      {1, 27, kFloat32, 1, "record", nullptr, ""},
  };
  for (const Case& c : cases) {
    ProcessorDevice device;
    device.context.nativeFormat = c.nativeFormat;
    device.context.nativeSwizzle = c.swizzle;
    device.context.nativeType = c.type;
    device.context.nativeWhite = c.white;
    EXPECT_EQ(optionsFor(device, c.text, c.extra), c.options) << c.text << " " << int(c.swizzle) << " " << c.white;
  }
}
