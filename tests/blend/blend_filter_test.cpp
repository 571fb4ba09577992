// BlendFilter as a node: its inputs and consumers, its region rule, and
// its dispatch through a graph on the stand-in host.

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "image/blend/blend_filter.h"
#include "image/filter_layer.h"
#include "image/render_graph.h"
#include "support/host_fixture.h"

namespace {

using namespace OZ::Image;
using Host = OZ::Host::AE::Host;
using Layer = FilterLayer<Host>;
using Blend = BlendFilter<Host>;

struct Pixels {
  std::int32_t width, height;
  std::vector<unsigned char> bytes;  // bgra8, rows packed
};

void fill(PF_EffectWorld* world, const Pixels& pixels) {
  for (std::int32_t y = 0; y < pixels.height; ++y)
    std::memcpy(static_cast<unsigned char*>(static_cast<void*>(world->data)) + std::ptrdiff_t(y) * world->rowbytes,
                pixels.bytes.data() + std::size_t(y) * std::size_t(pixels.width) * 4, std::size_t(pixels.width) * 4);
}

Pixels uniform(std::int32_t width, std::int32_t height, std::array<unsigned char, 4> bgra) {
  Pixels pixels{width, height, {}};
  for (std::int32_t i = 0; i < width * height; ++i) pixels.bytes.insert(pixels.bytes.end(), bgra.begin(), bgra.end());
  return pixels;
}

// A over B into an output of A's size, on `iterations` bands.
std::vector<unsigned char> render(const Pixels& a, const Pixels& b, std::uint32_t mode, float opacity,
                                  int iterations = 0) {
  StandIn::Settings settings;
  settings.iterations = iterations;
  TestSupport::HostFixture fixture(settings);
  const PixelFormatCode bgra = formatCode("bgra");
  PF_EffectWorld* worldA = fixture.layer(a.width, a.height, bgra);
  PF_EffectWorld* worldB = fixture.layer(b.width, b.height, bgra);
  PF_EffectWorld* worldOut = fixture.layer(a.width, a.height, bgra);
  fill(worldA, a);
  fill(worldB, b);
  {
    Host::Image imageA(&fixture.host, worldA), imageB(&fixture.host, worldB), output(&fixture.host, worldOut);
    Layer layerA(&imageA, emptyRect), layerB(&imageB, emptyRect);
    Blend blend(&layerA, &layerB, mode, opacity);
    EXPECT_EQ(blend.bounds(), (Rect{0, 0, a.width, a.height}));  // A's alone
    renderGraph<Host>(&blend, &fixture.host, output);
  }
  EXPECT_EQ(fixture.standIn.liveWorlds(), 0u);
  std::vector<unsigned char> bytes;
  for (std::int32_t y = 0; y < a.height; ++y) {
    const auto* row = static_cast<unsigned char*>(static_cast<void*>(worldOut->data)) + std::ptrdiff_t(y) * worldOut->rowbytes;
    bytes.insert(bytes.end(), row, row + std::size_t(a.width) * 4);
  }
  return bytes;
}

TEST(BlendFilterTest, TwoInputsInOrderBothReusable) {
  Layer a(nullptr, {0, 0, 4, 4}), b(nullptr, {0, 0, 8, 8});
  Blend blend(&a, &b, BlendScreen, 0.5f);
  EXPECT_STREQ(blend.filterName(), "blend");
  ASSERT_EQ(blend.inputs.size(), 2u);
  EXPECT_EQ(blend.inputs[0], &a);
  EXPECT_EQ(blend.inputs[1], &b);
  EXPECT_EQ(a.consumers, std::vector<FilterBase<Host>*>{&blend});
  EXPECT_EQ(b.consumers, std::vector<FilterBase<Host>*>{&blend});
  EXPECT_TRUE(blend.canReuseInput(0));
  EXPECT_TRUE(blend.canReuseInput(1));
  EXPECT_EQ(blend.bounds(), (Rect{0, 0, 4, 4}));
  EXPECT_EQ(blend.inputRegion({1, 2, 3, 4}, 1), (Rect{1, 2, 3, 4}));
  // The same node twice stands twice.
  Blend twice(&a, &a, BlendNormal, 1.0f);
  EXPECT_EQ(twice.inputs, (std::vector<FilterBase<Host>*>{&a, &a}));
  EXPECT_EQ(a.consumers, (std::vector<FilterBase<Host>*>{&blend, &twice, &twice}));
}

// The output has A's rectangle: B's larger world plays no part, and any
// number of bands gives the same pixels.
TEST(BlendFilterTest, OutputHasTheBackdropsRectangle) {
  Pixels a = uniform(37, 41, {10, 20, 30, 200}), b = uniform(50, 60, {200, 100, 50, 128});
  a.bytes[5] = 77;
  const auto one = render(a, b, BlendOverlay, 0.9f, 1);
  EXPECT_EQ(one.size(), std::size_t(37 * 41 * 4));
  EXPECT_EQ(render(a, b, BlendOverlay, 0.9f, 3), one);
  EXPECT_EQ(render(a, b, BlendOverlay, 0.9f, 8), one);
}

// Behind weighs the first input's alpha and puts it on top; Normal the
// second's. Numbers past the list act as Normal.
TEST(BlendFilterTest, BehindExchangesTheInputs) {
  const Pixels opaque = uniform(5, 3, {40, 80, 120, 255}), clear = uniform(5, 3, {200, 200, 200, 0});
  EXPECT_EQ(render(opaque, clear, BlendBehind, 0.5f)[3], 128);   // half of A's alpha
  EXPECT_EQ(render(opaque, clear, BlendNormal, 0.5f)[3], 255);   // B adds nothing
  EXPECT_EQ(render(clear, opaque, BlendNormal, 0.5f)[3], 128);   // half of B's alpha
  EXPECT_EQ(render(opaque, clear, 42, 0.5f), render(opaque, clear, BlendNormal, 0.5f));
  EXPECT_EQ(render(clear, opaque, 0xFFFFFFFFu, 0.5f), render(clear, opaque, BlendNormal, 0.5f));
}

// A depth without kernels leaves the band as it was, without an error.
TEST(BlendFilterTest, UnknownDepthIsLeftAlone) {
  TestSupport::HostFixture fixture;
  PF_EffectWorld* world = fixture.layer(4, 2, formatCode("bgra"));
  PF_EffectWorld* source = fixture.layer(4, 2, formatCode("bgra"));
  std::memset(source->data, 0x40, std::size_t(source->rowbytes) * 2);
  std::vector<unsigned char> before(static_cast<unsigned char*>(static_cast<void*>(world->data)),
                                    static_cast<unsigned char*>(static_cast<void*>(world->data)) + world->rowbytes * 2);
  Host::Image output(&fixture.host, world), input(&fixture.host, source);
  output.depth = 10;
  Layer a(&input, emptyRect), b(&input, emptyRect);
  Blend blend(&a, &b, BlendNormal, 1.0f);
  Host::Image* inputs[] = {&input, &input};
  blend.host = &fixture.host;
  blend.output = &output;
  blend.inputImages = inputs;
  blend.processBand({0, 0, 4, 2}, 0);
  EXPECT_EQ(std::memcmp(before.data(), world->data, before.size()), 0);
}

}  // namespace
