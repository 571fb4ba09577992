// strobe-quirk sample: a generated test image, so that everything can be
// tried without an image at hand.

#include <cmath>
#include <cstring>
#include <iostream>

#include "cli/commands.h"
#include "cli/raw_image.h"

namespace StrobeQuirk::Cli {
namespace {

// Colour ramps across and down, a bright disc in the middle and an alpha
// that fades toward the corners: something for levels, blur and alpha to do.
void samplePixel(std::int32_t x, std::int32_t y, const Size& size, float rgba[4]) {
  const float u = (x + 0.5f) / float(size.width), v = (y + 0.5f) / float(size.height);
  const float dx = u - 0.5f, dy = v - 0.5f;
  const float disc = dx * dx + dy * dy < 0.04f ? 1.0f : 0.0f;
  rgba[0] = std::fmax(u, disc);
  rgba[1] = std::fmax(v, disc);
  rgba[2] = std::fmax(1.0f - u, disc);
  rgba[3] = 1.0f - 0.5f * (dx * dx + dy * dy) * 2.0f;
}

int runSample(const std::vector<std::string>& words) {
  const Arguments arguments(words, {{"--format", true}, {"--size", true}});
  arguments.expectPositionals(1, "OUT");
  const RawFormat& format = rawFormat(arguments.required("--format"));
  const Size size = parseSize(arguments.required("--size"), format);
  const std::string& path = arguments.positionals()[0];
  checkOutputPath(path);
  OZ::Image::ChannelPositions positions;
  OZ::Image::formatPositions(format.code, positions);
  std::vector<unsigned char> bytes(rawBytes(format, size));
  const int componentBytes = format.depth / 8;
  for (std::int32_t y = 0; y < size.height; ++y)
    for (std::int32_t x = 0; x < size.width; ++x) {
      float rgba[4];
      samplePixel(x, y, size, rgba);
      unsigned char* pixel = bytes.data() + (std::size_t(y) * std::size_t(size.width) + std::size_t(x)) * 4 * std::size_t(componentBytes);
      for (int channel = 0; channel < 4; ++channel) {
        unsigned char* at = pixel + positions[channel] * componentBytes;
        if (format.depth == 8) *at = static_cast<unsigned char>(rgba[channel] * 255.0f + 0.5f);
        if (format.depth == 16) {
          const std::uint16_t value = static_cast<std::uint16_t>(rgba[channel] * 32768.0f + 0.5f);
          std::memcpy(at, &value, 2);
        }
        if (format.depth == 32) std::memcpy(at, &rgba[channel], 4);
      }
    }
  writeFileAtomically(path, [&](std::ostream& out) {
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  });
  std::cout << "wrote a " << size.width << "x" << size.height << " " << format.name << " sample (" << bytes.size()
            << " bytes): " << path << "\n";
  return 0;
}

}  // namespace

const Command kSampleCommand{"sample", "write a generated sample image",
                             "usage: strobe-quirk sample --format F --size WxH OUT\n"
                             "\n"
                             "Writes a generated raw image: colour ramps, a bright disc in the middle,\n"
                             "alpha fading toward the corners.\n"
                             "\n"
                             "formats: argb8, bgra8, argb16, bgra16, argb32, bgra32\n"
                             "sizes: each side 1 to 32768, at most 1 GiB per frame (256 MiB in the\n"
                             "       32-bit build)\n",
                             runSample};

}  // namespace StrobeQuirk::Cli
