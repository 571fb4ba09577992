#pragma once
// The six pixel layouts that kernels exist for: three depths, two channel
// orders. A kernel is instantiated per layout; nothing inside a pixel loop
// asks which one it is.

#include <cstdint>

#include "image/pixel_format.h"

namespace OZ::Image {

template <class ComponentType, ChannelOrder Order>
struct PixelLayout {
  using Component = ComponentType;
  static constexpr ChannelOrder order = Order;
  static constexpr int depth = int(sizeof(Component)) * 8;
  static constexpr int bytes = 4 * int(sizeof(Component));
  static constexpr bool alphaFirst = Order == ChannelOrder::AlphaFirst;
  static constexpr int alpha = alphaFirst ? 0 : 3;
  // Components in their own range: 0..255, 0..32768, or floats with 1.0 white.
  static constexpr float white = depth == 8 ? 255.0f : depth == 16 ? 32768.0f : 1.0f;
  static constexpr bool isFloat = depth == 32;
};

using Argb8 = PixelLayout<std::uint8_t, ChannelOrder::AlphaFirst>;
using Bgra8 = PixelLayout<std::uint8_t, ChannelOrder::AlphaLast>;
using Argb16 = PixelLayout<std::uint16_t, ChannelOrder::AlphaFirst>;
using Bgra16 = PixelLayout<std::uint16_t, ChannelOrder::AlphaLast>;
using Argb32 = PixelLayout<float, ChannelOrder::AlphaFirst>;
using Bgra32 = PixelLayout<float, ChannelOrder::AlphaLast>;

// Calls visit.template operator()<Layout>() with the layout of this depth
// and order. Returns false, calling nothing, for a depth without kernels.
template <class Visitor>
bool visitLayout(int depth, ChannelOrder order, Visitor&& visit) {
  const bool alphaFirst = order == ChannelOrder::AlphaFirst;
  switch (depth) {
    case 8:
      alphaFirst ? visit.template operator()<Argb8>() : visit.template operator()<Bgra8>();
      return true;
    case 16:
      alphaFirst ? visit.template operator()<Argb16>() : visit.template operator()<Bgra16>();
      return true;
    case 32:
      alphaFirst ? visit.template operator()<Argb32>() : visit.template operator()<Bgra32>();
      return true;
    default:
      return false;
  }
}

// Expands MACRO(Layout) once per layout, for explicit instantiations.
#define OZ_FOR_EACH_LAYOUT(MACRO) \
  MACRO(Argb8) MACRO(Bgra8) MACRO(Argb16) MACRO(Bgra16) MACRO(Argb32) MACRO(Bgra32)

}  // namespace OZ::Image
