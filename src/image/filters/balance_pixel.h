#pragma once
// One pixel of the scalar levels kernel: the reference the vector levels
// are held to. The scalar kernel truncates on the integer store and keeps
// alpha; the vector levels round and send alpha through the lanes. Both are
// intended (docs/rounding.md).

#include <cmath>
#include <cstdint>
#include <cstring>

namespace OZ::Image {

template <class Layout, bool Clamp, bool Gamma>
struct BalanceScalarPixel {
  using Component = typename Layout::Component;

  float scale;
  float offset;  // already in the layout's own range
  float exponent;

  // A mapping without a curve; offset on the 0..1 scale.
  static BalanceScalarPixel linear(float scale, float offset) {
    return {scale, Layout::isFloat ? offset : offset * Layout::white, 0.0f};
  }

  // Integer stores take white above white and truncate toward zero below.
  static Component store(float value) {
    if constexpr (Layout::isFloat)
      return value;
    else
      return value > Layout::white ? Component(Layout::white) : Component(std::int32_t(value));
  }

  void operator()(unsigned char* out, const unsigned char* in) const {
    // Read the whole pixel first: out may be in.
    Component pixel[4];
    std::memcpy(pixel, in, sizeof pixel);
    for (int channel = 0; channel < 4; ++channel) {
      if (channel == Layout::alpha) continue;
      const float c = float(pixel[channel]);
      // Raw channel values go into the curve: 255 enters as 255.0.
      float value = (Gamma ? std::pow(c, exponent) : c) * scale + offset;
      value = value > 0.0f ? value : 0.0f;  // NaN becomes 0, as in the vector levels
      if constexpr (Clamp) value = value < Layout::white ? value : Layout::white;
      pixel[channel] = store(value);
    }
    std::memcpy(out, pixel, sizeof pixel);
  }
};

}  // namespace OZ::Image
