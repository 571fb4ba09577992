#pragma once
// What a control is, and so where its value lives in a ParamValue.

#include <cstdint>

namespace OZ::Host::Param {

// The numbers are fixed: they are what a record's `kind` holds. A record may
// hold a higher number; every consumer passes over such a record.
enum ParamKind : std::uint32_t {
  kNone = 0,          // no value
  kInt = 1,           // integer
  kFloat = 2,         // float
  kBool = 3,          // byte
  kString = 4,        // text
  kChoice = 5,        // integer, 0-based position in `labels`
  kStringChoice = 6,  // text, one of `labels`
  kColor = 7,         // three floats: red, green, blue
  kPoint = 8,         // two floats: x, y
  kGroupStart = 9,    // no value
  kGroupEnd = 10,     // no value
  kLayer = 11,        // integer
  kPath = 12,         // no value
  kReserved = 13,     // no value; treated like kNone
};

}  // namespace OZ::Host::Param
