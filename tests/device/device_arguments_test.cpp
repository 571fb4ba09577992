// What each filter hands its device program: which program runs, on which
// buffers, with which arguments by name and value.

#include <gtest/gtest.h>

#include <cmath>

#include "device/device_graph.h"
#include "image/blend/blend_filter.h"
#include "image/filters/balance_filter.h"
#include "image/filters/gaussian_blur_filter.h"
#include "image/filters/hsvcc_filter.h"
#include "image/filters/premult_alpha_filter.h"
#include "image/filters/unmult_alpha_filter.h"

using namespace OZ::Image;
using namespace TestSupport;

namespace {

std::vector<float> floats(const KernelArgument& argument) {
  std::vector<float> values;
  for (int i = 0; i < argument.type && i < 4; ++i) values.push_back(argumentFloat(argument, i));
  return values;
}

// The normalising sum of the device's Gaussian, from the closed form of its
// weights, w(k) = g0 × g1^(k²), in double: the centre, then each tap the
// program adds twice (support - 1 of them, or pairs with linear sampling).
double inverseSumOf(double sigma, int support, bool linearSampling) {
  const double g0 = 1.0 / (std::sqrt(2.0 * M_PI) * sigma), g1 = std::exp(-0.5 / (sigma * sigma));
  const int taps = linearSampling ? 2 * (support / 2) : support - 1;
  double sum = g0;
  for (int k = 0; k < taps; ++k) sum += 2.0 * g0 * std::pow(g1, double(k) * k);
  return 1.0 / sum;
}

}  // namespace

TEST(DeviceArguments, LevelsPassTheirMappingOnTheScaleZeroToOne) {
  struct Case {
    float inBlack, inWhite, outBlack, outWhite, gamma;
    const char* program;
    std::vector<float> gammaArgument;
  };
  const Case cases[] = {
      {0.11f, 0.165f, 0.0f, 1.0f, 1.0f, "record-first", {}},
      {0.2f, 0.6f, 0.1f, 0.9f, 2.5f, "record-second", {0.4f}},
      {0.2f, 0.6f, 0.1f, 0.9f, 0.0005f, "record-second", {999.99994f}},  // flat curves are capped
      {0.3f, 0.3f, 0.2f, 1.0f, 1.0f, "record-first", {}},                // an empty range: the steepest slope
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.gamma);
    ProcessorDevice device;
    DeviceGraph graph(formatCode("ae16"), 6, 4);  // the values do not depend on the depth
    auto* levels = graph.make<BalanceFilter<DeviceHost>>(&graph.layerNode, true, c.inBlack, c.inWhite, c.outBlack,
                                                        c.outWhite, c.gamma);
    device.attach(levels->program, "record-first");
    device.attach(levels->secondProgram, "record-second");
    graph.renderOn(device, levels);
    ASSERT_EQ(device.runs.size(), 1u);
    const auto& run = device.runs[0];
    EXPECT_EQ(run.kernel, c.program);
    EXPECT_EQ(run.inputs.size(), 1u);
    const double scale =
        c.inWhite == c.inBlack ? 255.0 : std::min(255.0, (double(c.outWhite) - c.outBlack) / (double(c.inWhite) - c.inBlack));
    const double offset = c.outBlack - c.inBlack * scale;
    const std::vector<float> scales = floats(run.arguments.at("scale")), offsets = floats(run.arguments.at("offset"));
    ASSERT_EQ(scales.size(), 4u);
    ASSERT_EQ(offsets.size(), 4u);
    for (int i = 0; i < 3; ++i) {
      EXPECT_NEAR(scales[std::size_t(i)], scale, 1e-5 * scale);
      EXPECT_NEAR(offsets[std::size_t(i)], offset, 1e-5 * std::abs(scale));
    }
    EXPECT_EQ(scales[3], 1.0f);
    EXPECT_EQ(offsets[3], 0.0f);
    if (c.gammaArgument.empty()) {
      EXPECT_EQ(run.argumentNames, (std::vector<std::string>{"scale", "offset"}));
    } else {
      EXPECT_EQ(run.argumentNames, (std::vector<std::string>{"scale", "offset", "gamma"}));
      EXPECT_FLOAT_EQ(floats(run.arguments.at("gamma"))[0], c.gammaArgument[0]);
    }
  }
}

// With hue and saturation unchanged the one program runs twice: first with
// the levels' arguments, then with its own.
TEST(DeviceArguments, HueSaturationPassesItsShiftAndScales) {
  ProcessorDevice device;
  DeviceGraph graph(formatCode("argb"), 6, 4);
  auto* hue = graph.make<HSVCCFilter<DeviceHost>>(&graph.layerNode, 0.25f, 0.5f, 0.8f);
  auto* value = graph.make<HSVCCFilter<DeviceHost>>(hue, 0.0f, 1.0f, 0.5f);
  device.attach(hue->program, "record-hue");
  device.attach(value->program, "record-value");
  graph.renderOn(device, value);
  ASSERT_EQ(device.runs.size(), 3u);
  EXPECT_EQ(device.runs[0].argumentNames, (std::vector<std::string>{"ccH", "ccSV"}));
  EXPECT_EQ(floats(device.runs[0].arguments.at("ccH")), (std::vector<float>{0.25f}));
  EXPECT_EQ(floats(device.runs[0].arguments.at("ccSV")), (std::vector<float>{0.5f, 0.8f}));

  EXPECT_EQ(device.runs[1].kernel, "record-value");
  EXPECT_EQ(device.runs[1].argumentNames, (std::vector<std::string>{"scale", "offset"}));
  EXPECT_EQ(floats(device.runs[1].arguments.at("scale")), (std::vector<float>{0.5f, 0.5f, 0.5f, 1.0f}));
  EXPECT_EQ(floats(device.runs[1].arguments.at("offset")), (std::vector<float>{0.0f, 0.0f, 0.0f, 0.0f}));
  EXPECT_EQ(device.runs[2].kernel, "record-value");
  EXPECT_EQ(device.runs[2].argumentNames, (std::vector<std::string>{"ccH", "ccSV"}));
  EXPECT_EQ(device.runs[1].target.id, device.runs[2].target.id);
}

TEST(DeviceArguments, AlphaFiltersPassNoArguments) {
  ProcessorDevice device;
  DeviceGraph graph(formatCode("argb"), 6, 4);
  auto* unmult = graph.make<UnmultAlphaFilter<DeviceHost>>(&graph.layerNode);
  auto* premult = graph.make<PremultAlphaFilter<DeviceHost>>(unmult);
  device.attach(unmult->program, "record-unmult");
  device.attach(premult->program, "record-premult");
  graph.renderOn(device, premult);
  ASSERT_EQ(device.runs.size(), 2u);
  for (const auto& run : device.runs) {
    EXPECT_TRUE(run.argumentNames.empty());
    EXPECT_EQ(run.inputs.size(), 1u);
  }
}

// Rows first, by the second program, into an image with the target's
// columns and the input's rows; then columns, by the program, into the
// target. Each pass gets its axis' reach and weight seeds.
TEST(DeviceArguments, BlurRunsRowsThenColumnsThroughATemporaryImage) {
  for (bool linearSampling : {false, true}) {
    for (bool useThreshold : {false, true}) {
      SCOPED_TRACE(testing::Message() << "linear " << linearSampling << " threshold " << useThreshold);
      ProcessorDevice device;
      device.answers[kInfoLinearSampling8] = linearSampling ? 1 : 0;
      DeviceGraph graph(formatCode("argb"), 30, 20);
      auto* blur = graph.make<GaussianBlurFilter<DeviceHost>>(&graph.layerNode, BlurSigmas{2.5f, 1.5f, 0.25f}, 0, 0);
      blur->useThreshold = useThreshold;
      blur->buildProgram(&graph.host, &device.context, graph.target.descriptor());  // asks about sampling
      device.attach(blur->secondProgram, "record-rows");
      device.attach(blur->program, "record-columns");
      HostImage part(&graph.host);
      part.viewOf(graph.target, Rect{5, 4, 20, 12});
      renderGraphOnDevice<DeviceHost>(blur, &graph.host, &device.context, part);

      EXPECT_EQ(blur->linearSampling, linearSampling);
      ASSERT_EQ(device.runs.size(), 2u);
      const auto& rows = device.runs[0];
      const auto& columns = device.runs[1];
      EXPECT_EQ(rows.kernel, "record-rows");
      EXPECT_EQ(rows.target.rect, (Rect{5, 0, 20, 20}));  // the whole layer's rows
      EXPECT_TRUE(rows.target.image);
      ASSERT_EQ(rows.inputs.size(), 1u);
      EXPECT_EQ(rows.inputs[0].rect, (Rect{0, 0, 30, 20}));
      EXPECT_EQ(columns.kernel, "record-columns");
      EXPECT_EQ(columns.target.rect, (Rect{5, 4, 20, 12}));
      ASSERT_EQ(columns.inputs.size(), useThreshold ? 2u : 1u);
      EXPECT_EQ(columns.inputs[0].id, rows.target.id);
      if (useThreshold) {
        EXPECT_EQ(columns.inputs[1].id, rows.inputs[0].id);
      }

      EXPECT_EQ(rows.argumentNames, (std::vector<std::string>{"support", "ksetup"}));
      EXPECT_EQ(columns.argumentNames, useThreshold ? (std::vector<std::string>{"support", "ksetup", "thresh"})
                                                    : (std::vector<std::string>{"support", "ksetup"}));
      for (const auto& [run, sigma, support] : {std::tuple{&rows, 2.5, 8}, std::tuple{&columns, 1.5, 5}}) {
        EXPECT_EQ(argumentInteger(run->arguments.at("support")), support);
        const std::vector<float> seeds = floats(run->arguments.at("ksetup"));
        ASSERT_EQ(seeds.size(), 4u);
        const double g1 = std::exp(-0.5 / (sigma * sigma));
        EXPECT_NEAR(seeds[0], 1.0 / (std::sqrt(2.0 * M_PI) * sigma), 1e-6);
        EXPECT_NEAR(seeds[1], g1, 1e-6);
        EXPECT_NEAR(seeds[2], g1 * g1, 1e-6);
        EXPECT_NEAR(seeds[3], inverseSumOf(sigma, support, linearSampling), 1e-5);
      }
      if (useThreshold) {
        EXPECT_EQ(floats(columns.arguments.at("thresh")), (std::vector<float>{0.25f}));
      }
      EXPECT_EQ(device.liveBuffers(), 0u);  // the temporary image too
    }
  }
}

// One program for every mode, with the opacity; Behind hands its inputs
// over exchanged, so that the program sees the layer on top first.
TEST(DeviceArguments, BlendPassesItsOpacityAndBehindExchangesTheInputs) {
  for (std::uint32_t mode : {std::uint32_t(BlendStencilLuma), std::uint32_t(BlendBehind)}) {
    SCOPED_TRACE(mode);
    ProcessorDevice device;
    DeviceGraph graph(formatCode("argb"), 6, 4);
    auto* top = graph.make<UnmultAlphaFilter<DeviceHost>>(&graph.layerNode);
    auto* blend = graph.make<BlendFilter<DeviceHost>>(&graph.layerNode, top, mode, 0.35f);
    device.attach(top->program, "record-top");
    device.attach(blend->program, "record-blend");
    graph.renderOn(device, blend);
    ASSERT_EQ(device.runs.size(), 2u);
    const auto& run = device.runs[1];
    EXPECT_EQ(run.argumentNames, (std::vector<std::string>{"opacity"}));
    EXPECT_EQ(floats(run.arguments.at("opacity")), (std::vector<float>{0.35f}));
    ASSERT_EQ(run.inputs.size(), 2u);
    const auto* topBuffer = device.runs[0].target.id;
    EXPECT_EQ(run.inputs[mode == BlendBehind ? 0 : 1].id, topBuffer);
    EXPECT_NE(run.inputs[mode == BlendBehind ? 1 : 0].id, topBuffer);
  }
}
