#include "cli/raw_image.h"

#include <cstring>

#include "cli/command.h"

namespace StrobeQuirk::Cli {

using OZ::Image::formatCode;

const std::vector<RawFormat>& rawFormats() {
  static const std::vector<RawFormat> formats = {
      {"argb8", formatCode("argb"), 8},   {"bgra8", formatCode("bgra"), 8},   {"argb16", formatCode("Argb"), 16},
      {"bgra16", formatCode("Bgra"), 16}, {"argb32", formatCode("ARgb"), 32}, {"bgra32", formatCode("BGra"), 32},
  };
  return formats;
}

const RawFormat& rawFormat(const std::string& name) {
  for (const RawFormat& format : rawFormats())
    if (name == format.name) return format;
  throw UsageError("unknown format " + name + " (one of " + rawFormatNames() + ")");
}

std::string rawFormatNames() {
  std::string names;
  for (const RawFormat& format : rawFormats()) names += (names.empty() ? "" : ", ") + std::string(format.name);
  return names;
}

Size parseSize(const std::string& text) {
  const std::size_t x = text.find('x');
  if (x == std::string::npos) throw UsageError("size must be WxH: " + text);
  const long w = parseInteger(text.substr(0, x), "--size"), h = parseInteger(text.substr(x + 1), "--size");
  if (w <= 0 || h <= 0 || w > 1 << 16 || h > 1 << 16) throw UsageError("size out of range: " + text);
  return {std::int32_t(w), std::int32_t(h)};
}

std::size_t rawBytes(const RawFormat& format, const Size& size) {
  return std::size_t(size.width) * std::size_t(size.height) * std::size_t(OZ::Image::bytesPerPixel(format.depth));
}

std::vector<unsigned char> readRawImage(const std::string& path, const RawFormat& format, const Size& size) {
  const std::string contents = readWholeFile(path);
  if (contents.size() != rawBytes(format, size))
    throw UsageError(path + " holds " + std::to_string(contents.size()) + " bytes, not " +
                     std::to_string(rawBytes(format, size)) + " for " + std::to_string(size.width) + "x" +
                     std::to_string(size.height) + " " + format.name);
  return std::vector<unsigned char>(contents.begin(), contents.end());
}

void copyIntoWorld(const std::vector<unsigned char>& bytes, PF_EffectWorld& world, const RawFormat& format) {
  const std::size_t row = std::size_t(world.width) * std::size_t(OZ::Image::bytesPerPixel(format.depth));
  for (A_long y = 0; y < world.height; ++y)
    std::memcpy(reinterpret_cast<unsigned char*>(world.data) + std::ptrdiff_t(y) * world.rowbytes,
                bytes.data() + std::size_t(y) * row, row);
}

std::vector<unsigned char> copyOutOfWorld(const PF_EffectWorld& world, const RawFormat& format) {
  const std::size_t row = std::size_t(world.width) * std::size_t(OZ::Image::bytesPerPixel(format.depth));
  std::vector<unsigned char> bytes(row * std::size_t(world.height));
  for (A_long y = 0; y < world.height; ++y)
    std::memcpy(bytes.data() + std::size_t(y) * row,
                reinterpret_cast<const unsigned char*>(world.data) + std::ptrdiff_t(y) * world.rowbytes, row);
  return bytes;
}

}  // namespace StrobeQuirk::Cli
