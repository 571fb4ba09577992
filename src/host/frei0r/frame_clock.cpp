#include "host/frei0r/frame_clock.h"

#include <cmath>

namespace OZ::Host::Frei0r {

bool frameAtTime(double time, double rate, bool milliseconds, std::int32_t& frame) {
  const double seconds = milliseconds ? time / 1000.0 : time;
  const double number = std::round(seconds * rate);
  if (!(std::fabs(number) <= kFrameLimit)) return false;  // NaN fails too
  frame = std::int32_t(number);
  return true;
}

}  // namespace OZ::Host::Frei0r
