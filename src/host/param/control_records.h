#pragma once
// Records of the two kinds of control the effects define: a float slider
// and a check box, each starting at its default.

#include <cstdint>

#include "host/param/param_kind.h"
#include "host/param/param_record.h"
#include "host/param/param_value.h"

namespace OZ::Host::Param {

// A record of one kind starting at value, shown and valid from low to high.
inline ParamRecord rangedControl(ParamKind kind, const char* name, const char* tag, ParamValue value, ParamValue low,
                                 ParamValue high, std::uint32_t flags) {
  ParamRecord record;
  record.kind = kind;
  record.name = name;
  record.setTag(tag);
  record.value = record.defaultValue = value;
  record.sliderMin = record.validMin = low;
  record.sliderMax = record.validMax = high;
  record.flags = flags;
  return record;
}

// A slider whose shown and valid ranges are both low to high.
inline ParamRecord floatControl(const char* name, const char* tag, double value, double low, double high,
                                std::uint32_t flags = 0) {
  return rangedControl(kFloat, name, tag, ParamValue::ofFloat(value), ParamValue::ofFloat(low),
                       ParamValue::ofFloat(high), flags);
}

// A check box, off.
inline ParamRecord checkBox(const char* name, const char* tag) {
  return rangedControl(kBool, name, tag, ParamValue::ofBool(false), ParamValue::ofBool(false),
                       ParamValue::ofBool(true), 0);
}

}  // namespace OZ::Host::Param
