#pragma once
// An application around one effect: the stand-in host, an instance of the
// effect driven through an entry function, and layers with known pixels.

#include <cstdint>
#include <cstring>
#include <vector>

#include "image/pixel_format.h"
#include "standin/effect_instance.h"
#include "standin/standin_host.h"

namespace TestSupport {

struct Application {
  explicit Application(PF_FilterProc entry, const StandIn::Settings& settings = {})
      : host(settings), effect(host, entry) {}
  ~Application() {
    for (PF_EffectWorld* world : layers) host.disposeLayerWorld(world);
  }

  // A layer of the application's with a pattern in every channel, in the
  // format's own range; freed with the application.
  PF_EffectWorld* layer(std::int32_t width, std::int32_t height, OZ::Image::PixelFormatCode format) {
    PF_EffectWorld* world = host.makeLayerWorld(width, height, format);
    layers.push_back(world);
    const int depth = OZ::Image::formatDepth(format);
    for (std::int32_t y = 0; y < height; ++y) {
      auto* row = reinterpret_cast<unsigned char*>(world->data) + std::ptrdiff_t(y) * world->rowbytes;
      for (std::int32_t i = 0; i < width * 4; ++i) {
        const unsigned level = unsigned(i * 37 + y * 101 + (i % 4) * 53) % 256;
        if (depth == 8) row[i] = std::uint8_t(level);
        if (depth == 16) reinterpret_cast<std::uint16_t*>(row)[i] = std::uint16_t(level * 128);
        if (depth == 32) reinterpret_cast<float*>(row)[i] = float(level) / 255.0f;
      }
    }
    return world;
  }

  bool leftNothing() const { return host.liveHandles() == 0 && host.liveWorlds() == 0; }

  StandIn::StandInHost host;
  StandIn::EffectInstance effect;
  std::vector<PF_EffectWorld*> layers;
};

// The bytes of a world's pixels, row after row, without padding.
inline std::vector<unsigned char> pixelsOf(const PF_EffectWorld& world, OZ::Image::PixelFormatCode format) {
  const std::size_t row = std::size_t(world.width) * std::size_t(OZ::Image::bytesPerPixel(OZ::Image::formatDepth(format)));
  std::vector<unsigned char> bytes(row * std::size_t(world.height));
  for (std::int32_t y = 0; y < world.height; ++y)
    std::memcpy(bytes.data() + row * std::size_t(y),
                reinterpret_cast<const unsigned char*>(world.data) + std::ptrdiff_t(y) * world.rowbytes, row);
  return bytes;
}

}  // namespace TestSupport
