#include "effect/quirk_controls.h"

namespace StrobeQuirk {

namespace {

using OZ::Host::Param::ParamRecord;
using OZ::Host::Param::ParamValue;

ParamRecord floatControl(const char* name, const char* tag, double value, double low, double high,
                         std::uint32_t flags) {
  ParamRecord record;
  record.kind = OZ::Host::Param::kFloat;
  record.name = name;
  record.setTag(tag);
  record.value = record.defaultValue = ParamValue::ofFloat(value);
  record.sliderMin = record.validMin = ParamValue::ofFloat(low);
  record.sliderMax = record.validMax = ParamValue::ofFloat(high);
  record.flags = flags;
  return record;
}

ParamRecord checkBox(const char* name, const char* tag) {
  ParamRecord record;
  record.kind = OZ::Host::Param::kBool;
  record.name = name;
  record.setTag(tag);
  record.value = record.defaultValue = ParamValue::ofBool(false);
  record.sliderMin = record.validMin = ParamValue::ofBool(false);
  record.sliderMax = record.validMax = ParamValue::ofBool(true);
  return record;
}

}  // namespace

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
