#pragma once
// Raw images on disk: rows top to bottom, tightly packed, pixels left to
// right, components little-endian, in one of six formats.

#include <cstdint>
#include <ostream>
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

// The largest frame the tool takes, refused before anything is allocated
// for it: each side up to 32768 pixels, and up to 1 GiB of pixels (256 MiB
// in the 32-bit build, whose address space must hold several frames).
inline constexpr std::int32_t kMaxFrameSide = 32768;
inline constexpr std::uint64_t kMaxFrameBytes = sizeof(void*) >= 8 ? std::uint64_t(1) << 30 : std::uint64_t(1) << 28;

// "WxH", two decimal numbers from 1 to kMaxFrameSide, for a frame of `format`
// within kMaxFrameBytes; UsageError otherwise.
Size parseSize(const std::string& text, const RawFormat& format);
// Refuses a frame over kMaxFrameBytes, for a second format of the same size.
void checkFrameBytes(const RawFormat& format, const Size& size);

std::size_t rawBytes(const RawFormat& format, const Size& size);

// Reads a raw image from a file or a pipe, refusing one whose length doesn't
// match before reading more than one byte past it.
std::vector<unsigned char> readRawImage(const std::string& path, const RawFormat& format, const Size& size);

// Refuses what readRawImage would refuse of a regular file, without
// reading it; a pipe or a device passes, to be read once.
void checkRawImage(const std::string& path, const RawFormat& format, const Size& size);

// Between raw bytes and a world of the same size and format.
void copyIntoWorld(const std::vector<unsigned char>& bytes, PF_EffectWorld& world, const RawFormat& format);
std::vector<unsigned char> copyOutOfWorld(const PF_EffectWorld& world, const RawFormat& format);
// The world's rows as raw bytes, row by row, without a copy of the whole.
void writeRawImage(std::ostream& out, const PF_EffectWorld& world, const RawFormat& format);

}  // namespace StrobeQuirk::Cli
