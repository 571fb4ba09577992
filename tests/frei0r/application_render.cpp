#include "frei0r/application_render.h"

#include <cstring>
#include <stdexcept>
#include <string>

#include "image/pixel_format.h"
#include "standin/effect_instance.h"
#include "standin/plugin_loader.h"
#include "standin/standin_host.h"

namespace Frei0rTests {

std::vector<unsigned char> renderInApplication(const std::vector<unsigned char>& bgra, std::int32_t width,
                                               std::int32_t height, std::int32_t frame,
                                               const QuirkControls& controls) {
  static StandIn::PluginLoader plugin(StandIn::PluginLoader::builtPluginPath());
  const std::size_t rowBytes = std::size_t(width) * 4;
  if (bgra.size() != rowBytes * std::size_t(height)) throw std::invalid_argument("frame size does not match");

  StandIn::StandInHost host;
  StandIn::EffectInstance effect(host, plugin.entry());
  if (effect.apply() != PF_Err_NONE) throw std::runtime_error("setup failed: " + effect.message());
  // Host indexes: the input layer is 0.
  effect.params.setFloat(1, controls.quirkTime);
  effect.params.setFloat(2, controls.randomQuirk);
  effect.params.setBool(3, controls.increaseQuirky);
  effect.params.setBool(4, controls.unmasked);

  PF_EffectWorld* layer = host.makeLayerWorld(width, height, OZ::Image::formatCode("bgra"));
  for (std::int32_t y = 0; y < height; ++y)
    std::memcpy(reinterpret_cast<unsigned char*>(layer->data) + std::ptrdiff_t(y) * layer->rowbytes,
                bgra.data() + rowBytes * std::size_t(y), rowBytes);
  std::vector<unsigned char> result(bgra.size(), 0);
  {
    const StandIn::SmartFrame rendered = effect.renderFrame(layer, frame);
    if (rendered.result() != PF_Err_NONE) {
      host.disposeLayerWorld(layer);
      throw std::runtime_error("render failed (" + std::to_string(rendered.result()) + "): " + rendered.message);
    }
    if (rendered.output) {
      const PF_EffectWorld& out = *rendered.output;
      for (std::int32_t y = 0; y < out.height; ++y)
        std::memcpy(result.data() + rowBytes * std::size_t(out.origin_y + y) + std::size_t(out.origin_x) * 4,
                    reinterpret_cast<const unsigned char*>(out.data) + std::ptrdiff_t(y) * out.rowbytes,
                    std::size_t(out.width) * 4);
    }
  }
  host.disposeLayerWorld(layer);
  return result;
}

}  // namespace Frei0rTests
