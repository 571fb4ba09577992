#include "cli/session.h"

namespace StrobeQuirk::Cli {

Session::Session(const StandIn::Settings& settings) : standIn(settings) {
  host.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
}

Session::~Session() {
  for (PF_EffectWorld* world : layers_) standIn.disposeLayerWorld(world);
}

PF_EffectWorld* Session::layer(const RawFormat& format, const Size& size, const std::vector<unsigned char>& bytes) {
  PF_EffectWorld* world = standIn.makeLayerWorld(size.width, size.height, format.code);
  layers_.push_back(world);
  if (!bytes.empty()) copyIntoWorld(bytes, *world, format);
  return world;
}

}  // namespace StrobeQuirk::Cli
