#pragma once
// Generated pictures to try the effect on without material at hand: a still
// image, and a clip of bright shapes moving over a dark, partly transparent
// background. Both are the same bytes in every build on every machine: only
// float arithmetic that rounds alike everywhere goes into them.

#include <cstdint>
#include <vector>

#include "cli/raw_image.h"

namespace StrobeQuirk::Cli {

// Colour ramps, a bright disc in the middle, alpha fading toward the corners.
std::vector<unsigned char> sampleImage(const RawFormat& format, const Size& size);

// The clip loops every kSampleClipFrames frames; any frame number is a frame
// of it. Its background lies below the effect's levels threshold, so only
// the shapes glow.
inline constexpr std::int32_t kSampleClipFrames = 48;
std::vector<unsigned char> sampleClipFrame(const RawFormat& format, const Size& size, std::int32_t frame);

}  // namespace StrobeQuirk::Cli
