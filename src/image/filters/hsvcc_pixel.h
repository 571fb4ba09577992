#pragma once
// One pixel through the HSV round trip: normalise, to hue/saturation/value,
// rotate and scale, back to RGB, store. The scalar kernel runs it on every
// pixel; the vector kernels on the pixels their four-pixel blocks leave
// over. Both copies come from this template, told apart by the level: the
// vector kernels' copy wraps the hue only above one full turn, strictly
// (docs/rounding.md, "HSVCC").
//
// Everything is templated on the level, so that a copy compiled into a
// level file can never stand in for the scalar one. No <cmath> here: level
// files include this.

#include <cstdint>
#include <cstring>

#include "image/filters/processor_flags.h"
#include "image/pixel_layout.h"

namespace OZ::Image {

struct HsvccSettings {
  HsvccSettings(float hueShift, float saturationScale, float valueScale)
      : hueShift(hueShift),
        saturationScale(saturationScale),
        valueScale(valueScale),
        identity(hueShift == 0.0f && saturationScale == 1.0f && valueScale == 1.0f) {}

  float hueShift;  // in turns: 1.0 is the whole circle
  float saturationScale;
  float valueScale;
  // Nothing to change. The filter hands such bands to the levels kernels
  // before they get here, so this is only a safeguard.
  bool identity;
};

// Components holding red, green and blue. They follow the channel order
// alone, not the format's positions: an alpha-last format with red in
// component 0 gets red and blue exchanged.
template <class Layout>
struct HsvccChannels {
  static constexpr int red = Layout::alphaFirst ? 1 : 2;
  static constexpr int green = Layout::alphaFirst ? 2 : 1;
  static constexpr int blue = Layout::alphaFirst ? 3 : 0;
};

template <class Level, class Layout>
struct HsvccPixel {
  using Component = typename Layout::Component;
  using Channels = HsvccChannels<Layout>;

  // The vector kernels' helper lets a hue of exactly 1.0 through unwrapped.
  // It lands in the table's last row with f = 1, the same colour as hue 0.
  static constexpr bool strictHueWrap = Level::level != KernelLevel::Scalar;

  // Reads the whole pixel before writing, so target may be source.
  static void convert(unsigned char* target, const unsigned char* source, const HsvccSettings& settings) {
    Component pixel[4];
    std::memcpy(pixel, source, sizeof pixel);
    float red = normalise(pixel[Channels::red]);
    float green = normalise(pixel[Channels::green]);
    float blue = normalise(pixel[Channels::blue]);
    if (!settings.identity) rotate(red, green, blue, settings);
    pixel[Channels::red] = narrow(red);
    pixel[Channels::green] = narrow(green);
    pixel[Channels::blue] = narrow(blue);
    std::memcpy(target, pixel, sizeof pixel);
  }

  static void rotate(float& red, float& green, float& blue, const HsvccSettings& settings) {
    const float value = larger(blue, larger(green, red));
    const float delta = value - smaller(blue, smaller(green, red));
    const float saturation = value > 0.0f ? delta / value : 0.0f;

    // Hue in sixths of the circle, measured from the largest channel.
    float hue = 0.0f;
    if (delta != 0.0f) {
      if (value == red)
        hue = (green - blue) / delta;
      else if (value != green)
        hue = (red - green) / delta + 4.0f;
      else
        hue = (blue - red) / delta + 2.0f;
    }
    hue = hue / 6.0f;
    if (hue < 0.0f) hue = hue + 1.0f;
    hue = hue + settings.hueShift;
    // One wrap only: a shift beyond a whole turn stays out of range and
    // falls to the table's last row below.
    if (strictHueWrap ? hue > 1.0f : hue >= 1.0f)
      hue = hue - 1.0f;
    else if (hue < 0.0f)
      hue = hue + 1.0f;

    const float scaledSaturation = saturation * settings.saturationScale;
    const float scaledValue = value * settings.valueScale;
    const float sector = hue * 6.0f;
    const std::int32_t whole = floorToInt(sector);
    float fraction = sector - float(whole);
    if ((whole & 1) == 0) fraction = 1.0f - fraction;
    const float low = (1.0f - scaledSaturation) * scaledValue;
    const float ramp = (1.0f - fraction * scaledSaturation) * scaledValue;

    // clang-format off
    switch (whole) {
      case 1:  red = ramp;        green = scaledValue; blue = low;         break;
      case 2:  red = low;         green = scaledValue; blue = ramp;        break;
      case 3:  red = low;         green = ramp;        blue = scaledValue; break;
      case 4:  red = ramp;        green = low;         blue = scaledValue; break;
      case 5:  red = scaledValue; green = low;         blue = ramp;        break;
      default: red = scaledValue; green = ramp;        blue = low;         break;
    }
    // clang-format on
  }

  static float normalise(Component component) {
    if constexpr (Layout::depth == 8)
      return float(component) / 255.0f;
    else if constexpr (Layout::depth == 16)
      return float(component) * 3.0517578e-05f;  // 2^-15: full scale is 32768
    else
      return component;
  }

  // Integers truncate toward zero after a clamp at the white value; floats
  // keep every value, negative and above white alike.
  static Component narrow(float component) {
    if constexpr (Layout::isFloat) {
      return component;
    } else {
      const float scaled = larger(component * Layout::white, 0.0f);
      return scaled > Layout::white ? Component(Layout::white) : Component(std::int32_t(scaled));
    }
  }

  // The vector instructions' max and min: the second operand unless the
  // first is strictly beyond it, so NaN and signed zeros come out as in the
  // vector blocks.
  static float larger(float a, float b) { return a > b ? a : b; }
  static float smaller(float a, float b) { return a < b ? a : b; }

  // floor() as an integer. Outside the int range the result is the
  // processor's out-of-range value, as a conversion instruction gives.
  static std::int32_t floorToInt(float x) {
    if (!(x >= -2147483648.0f && x < 2147483648.0f)) return INT32_MIN;
    const std::int32_t truncated = std::int32_t(x);
    return float(truncated) > x ? truncated - 1 : truncated;
  }
};

}  // namespace OZ::Image
