#include "host/frei0r/world.h"

namespace OZ::Host::Frei0r {

World frameWorld(const void* pixels, std::int32_t width, std::int32_t height) {
  World world;
  // The image records never write to a layer they read, so the input frame
  // may be wrapped as it stands.
  world.data = static_cast<unsigned char*>(const_cast<void*>(pixels));
  world.rowbytes = std::int64_t(width) * 4;
  world.width = width;
  world.height = height;
  world.extent_hint = {0, 0, width, height};
  world.format = OZ::Image::formatCode("bgra");
  return world;
}

}  // namespace OZ::Host::Frei0r
