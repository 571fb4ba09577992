#pragma once
// The pixel record of the frei0r adapter. It has the fields the image
// records read, and it carries its own pixel layout: a frei0r host has no
// service that could be asked what a block of pixels holds.

#include <cstdint>

#include "image/pixel_format.h"

namespace OZ::Host::Frei0r {

struct WorldExtent {
  std::int32_t left = 0;
  std::int32_t top = 0;
  std::int32_t right = 0;
  std::int32_t bottom = 0;
};

struct World {
  std::int32_t world_flags = 0;  // 1: two bytes per component
  unsigned char* data = nullptr;
  std::int64_t rowbytes = 0;
  std::int32_t width = 0;
  std::int32_t height = 0;
  WorldExtent extent_hint;  // the pixels that hold data, relative to the memory
  std::int32_t origin_x = 0;
  std::int32_t origin_y = 0;
  OZ::Image::PixelFormatCode format = OZ::Image::formatCode("bgra");
};

// A frame as frei0r hands it over: 8-bit B, G, R, A in memory order, rows
// top down and packed, the whole frame holding data.
World frameWorld(const void* pixels, std::int32_t width, std::int32_t height);

}  // namespace OZ::Host::Frei0r
