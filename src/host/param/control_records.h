#pragma once
// Records of the two kinds of control the effects define: a float slider
// and a check box, each starting at its default.

#include <cstdint>

#include "host/param/param_kind.h"
#include "host/param/param_record.h"
#include "host/param/param_value.h"

namespace OZ::Host::Param {

// A slider whose shown and valid ranges are both low to high.
inline ParamRecord floatControl(const char* name, const char* tag, double value, double low, double high,
                                std::uint32_t flags = 0) {
  ParamRecord record;
  record.kind = kFloat;
  record.name = name;
  record.setTag(tag);
  record.value = record.defaultValue = ParamValue::ofFloat(value);
  record.sliderMin = record.validMin = ParamValue::ofFloat(low);
  record.sliderMax = record.validMax = ParamValue::ofFloat(high);
  record.flags = flags;
  return record;
}

// A check box, off.
inline ParamRecord checkBox(const char* name, const char* tag) {
  ParamRecord record;
  record.kind = kBool;
  record.name = name;
  record.setTag(tag);
  record.value = record.defaultValue = ParamValue::ofBool(false);
  record.sliderMin = record.validMin = ParamValue::ofBool(false);
  record.sliderMax = record.validMax = ParamValue::ofBool(true);
  return record;
}

}  // namespace OZ::Host::Param
