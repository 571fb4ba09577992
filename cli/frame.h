#pragma once
// A frame as the tool hands it to the effect and gets it back: raw bytes of
// one of the raw formats, rows top to bottom, tightly packed.

#include <vector>

#include "cli/raw_image.h"

namespace StrobeQuirk::Cli {

struct Frame {
  const RawFormat* format;
  Size size;
  std::vector<unsigned char> bytes;
};

// Where each of a pixel's components lies in the format's memory order.
struct ComponentPlaces {
  int red, green, blue, alpha;
};
ComponentPlaces componentPlaces(const RawFormat& format);

}  // namespace StrobeQuirk::Cli
