#pragma once
// Runs one filter as a graph layer → filter → output through the stand-in
// host, on images made of plain byte vectors.

#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "image/filter_layer.h"
#include "image/render_graph.h"
#include "support/host_fixture.h"

namespace TestSupport {

using FilterHost = OZ::Host::AE::Host;
using FilterNode = OZ::Image::FilterBase<FilterHost>;
using MakeFilter = std::function<std::unique_ptr<FilterNode>(FilterNode* input)>;

struct FilterRun {
  FilterRun(OZ::Image::PixelFormatCode format, std::int32_t width, std::int32_t height, int iterations = 0)
      : fixture(settingsWith(iterations)), format(format), width(width), height(height) {
    input = fixture.layer(width, height, format);
    output = fixture.layer(width, height, format);
  }

  std::size_t rowBytes() const { return std::size_t(width) * std::size_t(OZ::Image::bytesPerPixel(OZ::Image::formatDepth(format))); }
  unsigned char* row(PF_EffectWorld* world, std::int32_t y) const {
    return reinterpret_cast<unsigned char*>(world->data) + std::ptrdiff_t(y) * world->rowbytes;
  }
  void setInput(const std::vector<unsigned char>& bytes) {
    for (std::int32_t y = 0; y < height; ++y) std::memcpy(row(input, y), bytes.data() + std::size_t(y) * rowBytes(), rowBytes());
  }
  void fillOutput(unsigned char value) {
    for (std::int32_t y = 0; y < height; ++y) std::memset(row(output, y), value, rowBytes());
  }
  std::vector<unsigned char> outputBytes() const {
    std::vector<unsigned char> bytes(rowBytes() * std::size_t(height));
    for (std::int32_t y = 0; y < height; ++y) std::memcpy(bytes.data() + std::size_t(y) * rowBytes(), row(output, y), rowBytes());
    return bytes;
  }
  // Renders a chain of filters, each on the one before; exceptions pass to
  // the caller after the graph is gone.
  void render(const MakeFilter& make) { render(std::vector<MakeFilter>{make}); }
  void render(const std::vector<MakeFilter>& chain) {
    FilterHost::Image source(&fixture.host, input), target(&fixture.host, output);
    OZ::Image::FilterLayer<FilterHost> layer(&source, OZ::Image::emptyRect);
    std::vector<std::unique_ptr<FilterNode>> nodes;
    FilterNode* current = &layer;
    for (const MakeFilter& make : chain) {
      nodes.push_back(make(current));
      current = nodes.back().get();
    }
    OZ::Image::renderGraph<FilterHost>(current, &fixture.host, target);
  }

  static StandIn::Settings settingsWith(int iterations) {
    StandIn::Settings settings;
    settings.iterations = iterations;
    return settings;
  }

  HostFixture fixture;
  OZ::Image::PixelFormatCode format;
  std::int32_t width, height;
  PF_EffectWorld* input;
  PF_EffectWorld* output;
};

}  // namespace TestSupport
