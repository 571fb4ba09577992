#pragma once
// A host adapter attached to a stand-in host, for tests that need one.

#include <vector>

#include "host/ae/host.h"
#include "host/ae/parameters.h"
#include "standin/standin_host.h"

namespace TestSupport {

// The adapter with the two operations every effect must supply left empty.
class BareHost : public OZ::Host::AE::Host {
 public:
  void defineParameters(Store&) override {}
  void renderFrame(Store&, Image&, Image&, Image&, Image**) override {}
};

struct HostFixture {
  explicit HostFixture(const StandIn::Settings& settings = {}) : standIn(settings) {
    host.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
  }
  ~HostFixture() {
    for (PF_EffectWorld* world : layers) standIn.disposeLayerWorld(world);
  }

  // A world the application owns; freed with the fixture.
  PF_EffectWorld* layer(std::int32_t width, std::int32_t height, OZ::Image::PixelFormatCode format,
                        std::int32_t originX = 0, std::int32_t originY = 0, bool negativeRows = false) {
    layers.push_back(standIn.makeLayerWorld(width, height, format, originX, originY, negativeRows));
    return layers.back();
  }

  StandIn::StandInHost standIn;
  BareHost host;
  std::vector<PF_EffectWorld*> layers;
};

}  // namespace TestSupport
