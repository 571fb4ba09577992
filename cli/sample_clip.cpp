#include "cli/sample_clip.h"

#include <cmath>
#include <cstring>

namespace StrobeQuirk::Cli {
namespace {

struct Rgba {
  float r, g, b, a;
};

// Straight colour, 1.0 white, into the format's components.
template <class Picture>
std::vector<unsigned char> drawPicture(const RawFormat& format, const Size& size, const Picture& picture) {
  OZ::Image::ChannelPositions positions;
  OZ::Image::formatPositions(format.code, positions);
  std::vector<unsigned char> bytes(rawBytes(format, size));
  const std::size_t componentBytes = std::size_t(format.depth / 8);
  for (std::int32_t y = 0; y < size.height; ++y)
    for (std::int32_t x = 0; x < size.width; ++x) {
      const Rgba colour = picture(x, y);
      const float channels[4] = {colour.r, colour.g, colour.b, colour.a};
      unsigned char* pixel =
          bytes.data() + (std::size_t(y) * std::size_t(size.width) + std::size_t(x)) * 4 * componentBytes;
      for (int channel = 0; channel < 4; ++channel) {
        unsigned char* at = pixel + std::size_t(positions[channel]) * componentBytes;
        const float value = channels[channel];
        if (format.depth == 8) *at = static_cast<unsigned char>(value * 255.0f + 0.5f);
        if (format.depth == 16) {
          const std::uint16_t wide = static_cast<std::uint16_t>(value * 32768.0f + 0.5f);
          std::memcpy(at, &wide, 2);
        }
        if (format.depth == 32) std::memcpy(at, &value, 4);
      }
    }
  return bytes;
}

float larger(float a, float b) { return a > b ? a : b; }
float clamp01(float value) { return value < 0.0f ? 0.0f : value > 1.0f ? 1.0f : value; }
float absolute(float value) { return value < 0.0f ? -value : value; }

// 0 at whole numbers, 1 half-way between: a back-and-forth motion without
// trigonometry, whose rounding differs between libraries.
float triangle(float t) {
  const float fraction = t - float(static_cast<std::int32_t>(t));
  return 1.0f - absolute(2.0f * fraction - 1.0f);
}

// How much of a pixel lies inside a shape, from its signed distance to the
// edge in pixels (positive inside): a one-pixel soft edge.
float coverage(float insideBy) { return clamp01(insideBy + 0.5f); }

Rgba over(const Rgba& below, const Rgba& shape, float cover) {
  return {below.r + (shape.r - below.r) * cover, below.g + (shape.g - below.g) * cover,
          below.b + (shape.b - below.b) * cover, below.a + (shape.a - below.a) * cover};
}

}  // namespace

std::vector<unsigned char> sampleImage(const RawFormat& format, const Size& size) {
  return drawPicture(format, size, [&](std::int32_t x, std::int32_t y) {
    const float u = (x + 0.5f) / float(size.width), v = (y + 0.5f) / float(size.height);
    const float dx = u - 0.5f, dy = v - 0.5f;
    const float disc = dx * dx + dy * dy < 0.04f ? 1.0f : 0.0f;
    return Rgba{larger(u, disc), larger(v, disc), larger(1.0f - u, disc), 1.0f - 0.5f * (dx * dx + dy * dy) * 2.0f};
  });
}

std::vector<unsigned char> sampleClipFrame(const RawFormat& format, const Size& size, std::int32_t frame) {
  // Lengths in frame heights, so the clip looks alike at any size.
  const float height = float(size.height), aspect = float(size.width) / height;
  const std::int32_t step = ((frame % kSampleClipFrames) + kSampleClipFrames) % kSampleClipFrames;
  const float phase = float(step) / float(kSampleClipFrames);

  // A warm disc crossing from left to right, out of sight at both ends.
  const float discX = -0.3f + phase * (aspect + 0.6f), discY = 0.4f, discRadius = 0.22f;
  // A cyan square bouncing between the edges.
  const float squareX = 0.2f + triangle(2.0f * phase + 0.1f) * (aspect - 0.4f);
  const float squareY = 0.2f + triangle(3.0f * phase + 0.3f) * 0.6f, squareHalf = 0.14f;
  // A magenta bar sinking from above the frame to below it.
  const float barY = -0.1f + phase * 1.2f, barHalf = 0.06f, barLeft = 0.15f * aspect, barRight = 0.85f * aspect;

  return drawPicture(format, size, [&](std::int32_t x, std::int32_t y) {
    const float px = (x + 0.5f) / height, py = (y + 0.5f) / height;
    // Dark blue, brighter toward the top; opaque in the middle, half
    // transparent at the left and right edges.
    const float across = absolute(2.0f * px / aspect - 1.0f);
    Rgba colour{0.02f + 0.03f * (1.0f - py), 0.03f, 0.05f + 0.05f * (1.0f - py), 1.0f - 0.5f * across * across};

    const float dx = px - discX, dy = py - discY;
    const float discDistance = discRadius - std::sqrt(dx * dx + dy * dy);
    colour = over(colour, Rgba{1.0f, 0.85f, 0.55f, 1.0f}, coverage(discDistance * height));
    const float squareDistance = squareHalf - larger(absolute(px - squareX), absolute(py - squareY));
    colour = over(colour, Rgba{0.45f, 0.95f, 1.0f, 1.0f}, coverage(squareDistance * height));
    const float barDistance = larger(absolute(py - barY) - barHalf, larger(barLeft - px, px - barRight));
    colour = over(colour, Rgba{1.0f, 0.4f, 0.9f, 1.0f}, coverage(-barDistance * height));
    return colour;
  });
}

}  // namespace StrobeQuirk::Cli
