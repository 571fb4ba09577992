#pragma once
// Frames of the effect through a loaded plug-in's entry function, with the
// stand-in host playing the application: global and parameter setup once,
// then for each frame the controls at that time, the smart pre-render and
// the smart render. The layer and the output both cover the whole frame.

#include <cstdint>
#include <stdexcept>
#include <vector>

#include "cli/raw_image.h"
#include "standin/effect_instance.h"
#include "standin/standin_host.h"

namespace StrobeQuirk::Cli {

// The plug-in or the host refused: exit status 1, with the host's message.
class HostFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct RenderControls {
  double quirkTime = 3.0;    // entered as a user types them: the slider
  double randomQuirk = 0.0;  // holds them to its valid range
  bool increaseQuirky = false;
  bool unmasked = false;
  PF_RationalScale downsampleX{1, 1};
  PF_RationalScale downsampleY{1, 1};
};

class PluginRenderer {
 public:
  // Global and parameter setup; HostFailure when either fails. `faults`
  // are the stand-in's switches for what a real host does wrong, for tests.
  PluginRenderer(PF_FilterProc entry, const StandIn::Settings& settings, const StandIn::Faults& faults = {});

  // The effect's output for `frame` of a layer given as raw bytes, as raw
  // bytes of the same format and size. Where the effect leaves the frame
  // uncovered it is transparent black. Each frame stands alone: nothing of
  // one reaches the next.
  std::vector<unsigned char> render(const std::vector<unsigned char>& layer, const RawFormat& format, const Size& size,
                                    std::int32_t frame, const RenderControls& controls);

 private:
  StandIn::StandInHost host_;
  StandIn::EffectInstance effect_;
};

}  // namespace StrobeQuirk::Cli
