#include "cli/plugin_render.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "effect/quirk_controls.h"

namespace StrobeQuirk::Cli {
namespace {

// Host indexes: the input layer is 0, the controls follow in their order.
constexpr PF_ParamIndex kQuirkTime = 1 + kQuirkTimeIndex;
constexpr PF_ParamIndex kRandomQuirk = 1 + kRandomQuirkIndex;
constexpr PF_ParamIndex kIncreaseQuirky = 1 + kIncreaseQuirkyIndex;
constexpr PF_ParamIndex kUnmasked = 1 + kUnmaskedIndex;

std::string describe(PF_Err code) {
  switch (code) {
    case PF_Err_OUT_OF_MEMORY: return "out of memory (error 4)";
    case PF_Interrupt_CANCEL: return "the render was stopped (error 517)";
    default: return "error " + std::to_string(code);
  }
}

// What the application would tell the user: the plug-in's own message
// when it left one, with the code.
std::string failure(const std::string& what, PF_Err code, const std::string& message) {
  return what + ": " + (message.empty() ? describe(code) : message + " (error " + std::to_string(code) + ")");
}

// The application's world for the input layer, given back on every way out.
struct LayerWorld {
  LayerWorld(StandIn::StandInHost& host, const RawFormat& format, const Size& size,
             const std::vector<unsigned char>& bytes)
      : host(host), world(host.makeLayerWorld(size.width, size.height, format.code)) {
    copyIntoWorld(bytes, *world, format);
  }
  ~LayerWorld() { host.disposeLayerWorld(world); }
  LayerWorld(const LayerWorld&) = delete;
  LayerWorld& operator=(const LayerWorld&) = delete;
  StandIn::StandInHost& host;
  PF_EffectWorld* world;
};

}  // namespace

PluginRenderer::PluginRenderer(PF_FilterProc entry, const StandIn::Settings& settings, const StandIn::Faults& faults)
    : host_(settings), effect_(host_, entry) {
  host_.faults = faults;
  const PF_Err result = effect_.apply();
  if (result != PF_Err_NONE) throw HostFailure(failure("the plug-in's setup failed", result, effect_.message()));
  auto isA = [&](PF_ParamIndex index, PF_ParamType type) {
    return std::size_t(index) < effect_.params.count() && effect_.params.at(index).definition.param_type == type;
  };
  if (!isA(kQuirkTime, PF_Param_FLOAT_SLIDER) || !isA(kRandomQuirk, PF_Param_FLOAT_SLIDER) ||
      !isA(kIncreaseQuirky, PF_Param_CHECKBOX) || !isA(kUnmasked, PF_Param_CHECKBOX))
    throw HostFailure("the plug-in does not have the effect's four controls");
}

std::vector<unsigned char> PluginRenderer::render(const std::vector<unsigned char>& layer, const RawFormat& format,
                                                  const Size& size, std::int32_t frame,
                                                  const RenderControls& controls) {
  effect_.params.enterFloat(kQuirkTime, controls.quirkTime);
  effect_.params.enterFloat(kRandomQuirk, controls.randomQuirk);
  effect_.params.setBool(kIncreaseQuirky, controls.increaseQuirky);
  effect_.params.setBool(kUnmasked, controls.unmasked);
  PF_InData& in = *host_.inData();
  in.downsample_x = controls.downsampleX;
  in.downsample_y = controls.downsampleY;

  const LayerWorld input(host_, format, size, layer);
  const StandIn::SmartFrame rendered = effect_.renderFrame(input.world, frame);
  const std::string which = "frame " + std::to_string(frame);
  if (rendered.result() != PF_Err_NONE) throw HostFailure(failure(which, rendered.result(), rendered.message));
  const std::vector<std::string> broken = host_.violations();
  if (!broken.empty()) throw HostFailure(which + ": the plug-in broke a rule of the host: " + broken.front());

  std::vector<unsigned char> bytes(rawBytes(format, size), 0);
  if (!rendered.output) return bytes;
  // The output covers the result rectangle, placed at its corner.
  const PF_EffectWorld& output = *rendered.output;
  const std::size_t pixel = std::size_t(OZ::Image::bytesPerPixel(format.depth));
  const A_long left = std::max<A_long>(output.origin_x, 0), top = std::max<A_long>(output.origin_y, 0);
  const A_long right = std::min<A_long>(output.origin_x + output.width, size.width);
  const A_long bottom = std::min<A_long>(output.origin_y + output.height, size.height);
  for (A_long y = top; y < bottom && left < right; ++y)
    std::memcpy(bytes.data() + (std::size_t(y) * std::size_t(size.width) + std::size_t(left)) * pixel,
                reinterpret_cast<const unsigned char*>(output.data) +
                    std::ptrdiff_t(y - output.origin_y) * output.rowbytes +
                    std::size_t(left - output.origin_x) * pixel,
                std::size_t(right - left) * pixel);
  return bytes;
}

}  // namespace StrobeQuirk::Cli
