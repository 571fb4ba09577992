#pragma once
// A source layer and a target in one format on a stand-in host, and the
// nodes of a graph over them, for renders on the processor and through the
// processor device.

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "image/filter_layer.h"
#include "image/render_graph.h"
#include "support/host_fixture.h"
#include "support/processor_device.h"

namespace TestSupport {

using DeviceHost = OZ::Host::AE::Host;
using GraphNode = OZ::Image::FilterBase<DeviceHost>;
using HostImage = OZ::Image::ImageBuffer<DeviceHost>;

struct DeviceGraph : HostFixture {
  DeviceGraph(OZ::Image::PixelFormatCode format, std::int32_t width, std::int32_t height, unsigned seed = 1,
              bool bottomUpSource = false)
      : format(format),
        width(width),
        height(height),
        sourceWorld(layer(width, height, format, 0, 0, bottomUpSource)),
        targetWorld(layer(width, height, format)),
        source(&host, sourceWorld),
        target(&host, targetWorld),
        layerNode(&source, OZ::Image::emptyRect) {
    fillRandom(source, seed);
  }

  std::size_t rowBytes() const {
    return std::size_t(width) * std::size_t(OZ::Image::bytesPerPixel(OZ::Image::formatDepth(format)));
  }

  // Values across each format's range and a little beyond: 16-bit samples
  // up to 32768, floats below 0 and above 1.
  void fillRandom(HostImage& image, unsigned seed) {
    std::mt19937 generator(seed);
    const int depth = OZ::Image::formatDepth(format);
    for (std::int32_t y = image.bounds.y0; y < image.bounds.y1; ++y) {
      unsigned char* row = image.pixelAddress(image.bounds.x0, y);
      for (std::int32_t i = 0; i < width * 4; ++i) {
        if (depth == 8) {
          row[i] = static_cast<unsigned char>(generator() >> 24);
        } else if (depth == 16) {
          const std::uint16_t value = std::uint16_t(generator() % 32769);
          std::memcpy(row + 2 * i, &value, 2);
        } else {
          const float value = float(int(generator() % 1400) - 100) / 1000.0f;
          std::memcpy(row + 4 * i, &value, 4);
        }
      }
    }
  }

  std::vector<unsigned char> bytes(const HostImage& image) const {
    std::vector<unsigned char> all;
    for (std::int32_t y = image.bounds.y0; y < image.bounds.y1; ++y) {
      const unsigned char* row = image.pixelAddress(image.bounds.x0, y);
      all.insert(all.end(), row, row + rowBytes());
    }
    return all;
  }
  std::vector<unsigned char> targetBytes() const { return bytes(target); }

  template <class Node, class... Arguments>
  Node* make(Arguments&&... arguments) {
    nodes.push_back(std::make_unique<Node>(std::forward<Arguments>(arguments)...));
    return static_cast<Node*>(nodes.back().get());
  }

  void render(GraphNode* root) { OZ::Image::renderGraph<DeviceHost>(root, &host, target); }
  void renderOn(ProcessorDevice& device, GraphNode* root, OZ::Image::DeviceObserver* observer = nullptr) {
    OZ::Image::renderGraphOnDevice<DeviceHost>(root, &host, &device.context, target, observer);
  }

  OZ::Image::PixelFormatCode format;
  std::int32_t width, height;
  PF_EffectWorld* sourceWorld;
  PF_EffectWorld* targetWorld;
  HostImage source, target;
  OZ::Image::FilterLayer<DeviceHost> layerNode;
  std::vector<std::unique_ptr<GraphNode>> nodes;  // destroyed first, while the device still is
};

// Remembers which nodes ran where.
struct RecordingObserver : OZ::Image::DeviceObserver {
  void beforeKernel(const char* filterName) override { onDevice.push_back(filterName); }
  void beforeProcessorRun(const char* filterName) override { onProcessor.push_back(filterName); }
  void beforeUpload(const OZ::Image::Rect&) override { ++uploads; }
  void beforeDownload(const OZ::Image::Rect&) override { ++downloads; }
  std::vector<std::string> onDevice, onProcessor;
  int uploads = 0, downloads = 0;
};

}  // namespace TestSupport
