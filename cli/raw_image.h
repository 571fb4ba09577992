#pragma once
// Raw images on disk: rows top to bottom, tightly packed, pixels left to
// right, components little-endian, in one of six formats.

#include <cstdint>
#include <string>
#include <vector>

#include "host/ae/ae_interface.h"
#include "image/pixel_format.h"

namespace StrobeQuirk::Cli {

struct RawFormat {
  const char* name;                      // as on the command line: "argb8"
  OZ::Image::PixelFormatCode code;       // the format code inside
  int depth;
};

// The format of a --format value; UsageError for any other name.
const RawFormat& rawFormat(const std::string& name);
const std::vector<RawFormat>& rawFormats();
std::string rawFormatNames();  // "argb8, bgra8, ..." for help texts

struct Size {
  std::int32_t width, height;
};
Size parseSize(const std::string& text);  // "WxH", both positive

std::size_t rawBytes(const RawFormat& format, const Size& size);

// Reads a raw file, refusing one whose size doesn't match.
std::vector<unsigned char> readRawImage(const std::string& path, const RawFormat& format, const Size& size);

// Between raw bytes and a world of the same size and format.
void copyIntoWorld(const std::vector<unsigned char>& bytes, PF_EffectWorld& world, const RawFormat& format);
std::vector<unsigned char> copyOutOfWorld(const PF_EffectWorld& world, const RawFormat& format);

}  // namespace StrobeQuirk::Cli
