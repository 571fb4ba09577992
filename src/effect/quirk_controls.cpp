#include "effect/quirk_controls.h"

#include "host/param/control_records.h"

namespace StrobeQuirk {

void defineQuirkControls(OZ::Host::Param::Parameters& store) {
  using namespace OZ::Host::Param;
  // Quirk Time can't be keyframed: the schedule replays from frame 0 with one value.
  const ParamRecord quirkTime = floatControl("Quirk Time", "itSQ", 3.0, 1.0, 100.0, kNoTimeVary);
  store.records.push_back(quirkTime);
  const ParamRecord randomQuirk = floatControl("Random Quirk", "nrSQ", 0.0, 0.0, 100.0, kPercent);
  store.records.push_back(randomQuirk);
  const ParamRecord increaseQuirky = checkBox("Increase Quirky", "ciSQ");
  store.records.push_back(increaseQuirky);
  const ParamRecord unmasked = checkBox("Unmasked", "kmSQ");
  store.records.push_back(unmasked);
}

}  // namespace StrobeQuirk
