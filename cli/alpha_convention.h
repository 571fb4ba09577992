#pragma once
// Between the colour conventions of files and the effect's straight colour,
// through the library's own alpha filters (PremultAlphaFilter and
// UnmultAlphaFilter) on the stand-in host, as `filter premult` and `filter
// unmult` run them.

#include "cli/frame.h"

namespace StrobeQuirk::Cli {

// Colour times alpha.
Frame premultiplied(const Frame& straight);
// Colour divided by alpha; a pixel with no alpha keeps its colour.
Frame unmultiplied(const Frame& premultiplied);

}  // namespace StrobeQuirk::Cli
