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

namespace {

// One side of a size: decimal digits only, else -1.
long parseSide(const std::string& text) {
  if (text.empty() || text.size() > 9 || text.find_first_not_of("0123456789") != std::string::npos) return -1;
  return std::stol(text);
}

}  // namespace

Size parseSize(const std::string& text, const RawFormat& format) {
  const std::size_t x = text.find('x');
  const long width = x == std::string::npos ? -1 : parseSide(text.substr(0, x));
  const long height = x == std::string::npos ? -1 : parseSide(text.substr(x + 1));
  if (width < 0 || height < 0) throw UsageError("size must be WxH, two decimal numbers: " + text);
  if (width == 0 || height == 0 || width > kMaxFrameSide || height > kMaxFrameSide)
    throw UsageError("size out of range: " + text + " (each side 1 to " + std::to_string(kMaxFrameSide) + ")");
  const Size size{std::int32_t(width), std::int32_t(height)};
  checkFrameBytes(format, size);
  return size;
}

void checkFrameBytes(const RawFormat& format, const Size& size) {
  const std::uint64_t bytes =
      std::uint64_t(size.width) * std::uint64_t(size.height) * std::uint64_t(OZ::Image::bytesPerPixel(format.depth));
  if (bytes > kMaxFrameBytes)
    throw UsageError("a " + std::to_string(size.width) + "x" + std::to_string(size.height) + " " + format.name +
                     " frame takes " + std::to_string(bytes) + " bytes, over the limit of " +
                     (kMaxFrameBytes % (1 << 30) == 0 ? std::to_string(kMaxFrameBytes >> 30) + " GiB"
                                                      : std::to_string(kMaxFrameBytes >> 20) + " MiB"));
}

std::size_t rawBytes(const RawFormat& format, const Size& size) {
  return std::size_t(size.width) * std::size_t(size.height) * std::size_t(OZ::Image::bytesPerPixel(format.depth));
}

namespace {

UsageError lengthMismatch(const std::string& path, const RawFormat& format, const Size& size, const std::string& held) {
  return UsageError(path + " holds " + held + " bytes, not the " + std::to_string(rawBytes(format, size)) + " of a " +
                    std::to_string(size.width) + "x" + std::to_string(size.height) + " " + format.name + " frame");
}

}  // namespace

void checkRawImage(const std::string& path, const RawFormat& format, const Size& size) {
  const InputFile in(path);
  if (in.size() && *in.size() != rawBytes(format, size))
    throw lengthMismatch(path, format, size, std::to_string(*in.size()));
}

std::vector<unsigned char> readRawImage(const std::string& path, const RawFormat& format, const Size& size) {
  InputFile in(path);
  const std::size_t expected = rawBytes(format, size);
  auto mismatch = [&](const std::string& held) { return lengthMismatch(path, format, size, held); };
  if (in.size() && *in.size() != expected) throw mismatch(std::to_string(*in.size()));
  std::vector<unsigned char> bytes(expected);
  const std::size_t got = in.read(bytes.data(), expected);
  if (got != expected) throw mismatch(std::to_string(got));
  unsigned char extra;
  if (in.read(&extra, 1) != 0) throw mismatch("more");
  return bytes;
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

void writeRawImage(std::ostream& out, const PF_EffectWorld& world, const RawFormat& format) {
  const std::size_t row = std::size_t(world.width) * std::size_t(OZ::Image::bytesPerPixel(format.depth));
  for (A_long y = 0; y < world.height; ++y)
    out.write(reinterpret_cast<const char*>(world.data) + std::ptrdiff_t(y) * world.rowbytes, std::streamsize(row));
}

}  // namespace StrobeQuirk::Cli
