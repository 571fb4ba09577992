#pragma once
// One pixel of the full desaturation: every colour channel becomes the
// largest of the three, or, for a float pixel outside the short route's
// range, the general kernel of the level runs on it instead. The scalar
// kernel runs this on every pixel, the vector kernels on the pixels their
// blocks leave over, as the general kernels do. No <cmath>: level files
// include this.

#include <cstdint>
#include <cstring>

#include "image/filters/hsvcc_kernels.h"
#include "image/filters/hsvcc_pixel.h"
#include "image/pixel_layout.h"

namespace OZ::Image {

template <class Level, class Layout>
struct DesaturationPixel {
  using Component = typename Layout::Component;
  using Channels = HsvccChannels<Layout>;
  using General = HsvccPixel<Level, Layout>;

  // Where the general conversion sets every colour channel to the value V,
  // bit for bit, at every level: each channel lies in 0 to 2^64 (so none is
  // NaN), and the spread V − smallest is 0 or large enough that the vector
  // blocks' reciprocal of it stays finite. The saturation is then finite
  // and times 0 is 0, the hue is finite, and both of the round trip's
  // products are 1 × V.
  static bool inRange(float channel) { return channel >= 0.0f && channel <= 0x1p64f; }
  static bool desaturatesToValue(float red, float green, float blue, float value, float smallest) {
    const float spread = value - smallest;
    return inRange(red) && inRange(green) && inRange(blue) && (spread == 0.0f || spread >= 0x1p-64f);
  }

  // Pixels that need the round trip go through the general kernel's own
  // entry, one pixel (or one block) wide: the very code that would have
  // converted them, down to which NaN an instruction passes on.
  struct QuietProgress final : Progress {
    void report(std::int64_t, std::int64_t) override {}
  };
  static void general(unsigned char* target, const unsigned char* source, std::int32_t pixels) {
    const Rect span{0, 0, pixels, 1};
    const TargetView out{span, target, pixels * Layout::bytes};
    const SourceView in{span, source, pixels * Layout::bytes, {0, 0, 0, 0}};
    QuietProgress quiet;
    if constexpr (Level::level == KernelLevel::Scalar)
      runHsvccScalar<Layout>(out, in, span, quiet, 0.0f, 0.0f, 1.0f);
    else
      runHsvccLevel<Level, Layout>(out, in, span, quiet, 0.0f, 0.0f, 1.0f);
  }

  // Reads the whole pixel before writing, so target may be source. Returns
  // whether the short route took it.
  static bool convert(unsigned char* target, const unsigned char* source) {
    Component pixel[4];
    std::memcpy(pixel, source, sizeof pixel);
    const Component red = pixel[Channels::red], green = pixel[Channels::green], blue = pixel[Channels::blue];
    Component value;
    if constexpr (Layout::isFloat) {
      // The general conversion's own maximum, operand for operand: it
      // decides between +0 and −0.
      value = General::larger(blue, General::larger(green, red));
      if (!desaturatesToValue(red, green, blue, value, General::smaller(blue, General::smaller(green, red)))) {
        general(target, source, 1);
        return false;
      }
    } else {
      value = red > green ? red : green;
      value = blue > value ? blue : value;
      // Normalised and scaled back, an 8-bit value is itself again; a 16-bit
      // one stops at white.
      if constexpr (Layout::depth == 16) value = value > 32768 ? Component(32768) : value;
    }
    pixel[Channels::red] = pixel[Channels::green] = pixel[Channels::blue] = value;
    std::memcpy(target, pixel, sizeof pixel);
    return true;
  }
};

}  // namespace OZ::Image
