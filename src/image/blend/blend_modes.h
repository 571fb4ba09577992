#pragma once
// The blend modes, listed once. Everything that enumerates modes (the enum,
// the names, the kernel tables, the test parameters) expands this list, so
// adding a mode means one entry here and one formula in blend_formulas.h.

#include <cstdint>

namespace OZ::Image {

// X(number, name, formula): the formula is the pixel operation whose kernel
// the mode runs. Only Behind borrows another's: Normal with the inputs
// exchanged, which the dispatch does.
#define OZ_BLEND_MODES(X)                                                                                        \
  X(0, Normal, Normal)                                                                                           \
  X(1, Darken, Darken)                                                                                           \
  X(2, Multiply, Multiply)                                                                                       \
  X(3, ColorBurn, ColorBurn)                                                                                     \
  X(4, ColorBurnPremultiplied, ColorBurnPremultiplied)                                                           \
  X(5, LinearBurn, LinearBurn)                                                                                   \
  X(6, DarkerColor, DarkerColor)                                                                                 \
  X(7, Add, Add)                                                                                                 \
  X(8, Lighten, Lighten)                                                                                         \
  X(9, Screen, Screen)                                                                                           \
  X(10, ColorDodge, ColorDodge)                                                                                  \
  X(11, ColorDodgePremultiplied, ColorDodgePremultiplied)                                                        \
  X(12, LinearDodge, LinearDodge)                                                                                \
  X(13, LighterColor, LighterColor)                                                                              \
  X(14, Overlay, Overlay)                                                                                        \
  X(15, SoftLight, SoftLight)                                                                                    \
  X(16, HardLight, HardLight)                                                                                    \
  X(17, LinearLight, LinearLight)                                                                                \
  X(18, VividLight, VividLight)                                                                                  \
  X(19, PinLight, PinLight)                                                                                      \
  X(20, HardMix, HardMix)                                                                                        \
  X(21, Difference, Difference)                                                                                  \
  X(22, DifferencePremultiplied, DifferencePremultiplied)                                                        \
  X(23, Exclusion, Exclusion)                                                                                    \
  X(24, Subtract, Subtract)                                                                                      \
  X(25, Divide, Divide)                                                                                          \
  X(26, Hue, Hue)                                                                                                \
  X(27, Saturation, Saturation)                                                                                  \
  X(28, Color, Color)                                                                                            \
  X(29, Luminosity, Luminosity)                                                                                  \
  X(30, StencilAlpha, StencilAlpha)                                                                              \
  X(31, StencilLuma, StencilLuma)                                                                                \
  X(32, SilhouetteAlpha, SilhouetteAlpha)                                                                        \
  X(33, SilhouetteLuma, SilhouetteLuma)                                                                          \
  X(34, AlphaAdd, AlphaAdd)                                                                                      \
  X(35, NormalPremultipliedSource, NormalPremultipliedSource)                                                    \
  X(36, Average, Average)                                                                                        \
  X(37, Negation, Negation)                                                                                      \
  X(38, Reflect, Reflect)                                                                                        \
  X(39, Glow, Glow)                                                                                              \
  X(40, InverseDifference, InverseDifference)                                                                    \
  X(41, Behind, Normal)

enum BlendMode : std::uint32_t {
#define OZ_BLEND_ENUM(number, name, formula) Blend##name = number,
  OZ_BLEND_MODES(OZ_BLEND_ENUM)
#undef OZ_BLEND_ENUM
};

#define OZ_BLEND_COUNT(number, name, formula) +1
inline constexpr std::uint32_t kBlendModeCount = 0 OZ_BLEND_MODES(OZ_BLEND_COUNT);
#undef OZ_BLEND_COUNT

// The list runs 0, 1, 2... without gaps: tables are indexed by the number.
constexpr bool blendModesInOrder() {
  std::uint32_t expected = 0;
  bool inOrder = true;
#define OZ_BLEND_ORDER(number, name, formula) inOrder = inOrder && (number) == expected++;
  OZ_BLEND_MODES(OZ_BLEND_ORDER)
#undef OZ_BLEND_ORDER
  return inOrder;
}
static_assert(blendModesInOrder());

// "BlendNormal" and so on; null for a number outside the list.
constexpr const char* blendModeName(std::uint32_t mode) {
  constexpr const char* names[] = {
#define OZ_BLEND_NAME(number, name, formula) "Blend" #name,
      OZ_BLEND_MODES(OZ_BLEND_NAME)
#undef OZ_BLEND_NAME
  };
  return mode < kBlendModeCount ? names[mode] : nullptr;
}

// Any number outside the list acts as BlendNormal.
constexpr BlendMode effectiveBlendMode(std::uint32_t mode) {
  return mode < kBlendModeCount ? BlendMode(mode) : BlendNormal;
}

}  // namespace OZ::Image
