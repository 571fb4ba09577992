#pragma once
// From a frei0r host's time to the effect's frame number. ffmpeg's frei0r
// filter passes milliseconds, MLT and GStreamer pass seconds; the instance's
// controls say which, and at what rate the clip runs.

#include <cstdint>

namespace OZ::Host::Frei0r {

// Frame numbers further from 0 than this are refused: from here on a
// 32-bit float time loses whole frames, and the pulse schedule, which counts
// in such floats, would stop advancing.
inline constexpr double kFrameLimit = 16777216.0;  // 2^24

// round(time × rate), with time ÷ 1000 first when it is in milliseconds;
// halves round away from zero. False, and frame untouched, when the result
// is not a number or lies beyond kFrameLimit either way.
bool frameAtTime(double time, double rate, bool milliseconds, std::int32_t& frame);

}  // namespace OZ::Host::Frei0r
