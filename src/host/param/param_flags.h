#pragma once
// The bits of a record's `flags`.

#include <cstdint>

namespace OZ::Host::Param {

enum ParamFlags : std::uint32_t {
  // kFloat: shown as a percentage. kPoint: stored and given out unscaled.
  kPercent = 0x1,
  kAngle = 0x2,  // kFloat: the control is an angle
  kNoText = 0x10,  // left out of the text file, though still read from it
  kHidden = 0x20,
  kNoTimeVary = 0x40,  // cannot be keyframed
  kNoInterp = 0x80,    // keyframes are not interpolated
  kCollapsed = 0x100,  // a group that starts collapsed
  kLayerDefaultSelf = 0x200,  // kLayer: defaults to the effect's own layer
  kSupervise = 0x400,  // the host reports changes; on kNone and kReserved the record takes a host index
  // `value` is what projects saved before the control existed get;
  // `defaultValue` is what new instances get.
  kOldProjectValue = 0x8000,
};

}  // namespace OZ::Host::Param
