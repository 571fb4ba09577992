#pragma once
// Shorter routes to the same bytes: kernels and graph decisions that skip
// work the general path would do for nothing (a blur of three equal
// channels, an HSV round trip that ends where it started). Every shortcut
// produces exactly what the general path produces, at every level; all are
// on. The tests turn them off to compare the two routes.

#include <cstdint>

namespace OZ::Image {

using Shortcuts = std::uint32_t;

// The hue/saturation filter's full desaturation: the largest channel into all three.
inline constexpr Shortcuts kShortcutDesaturation = 1;
// The blur of an image of three equal colour channels: one of them and alpha.
inline constexpr Shortcuts kShortcutGreyBlur = 2;
// Levels feeding the full desaturation run inside it, their image never stored.
inline constexpr Shortcuts kShortcutLevelsIntoDesaturation = 4;
// Blends that change alpha alone leave the colour of their backdrop as stored,
// without the round trip through floats.
inline constexpr Shortcuts kShortcutBlendColourAsStored = 8;
// A full desaturation feeding only a blur is taken into it; in float the blur's
// first pass reads the levels' input through both, the grey image never stored.
inline constexpr Shortcuts kShortcutDesaturationIntoBlur = 16;
// Where every pixel the first pass reads through has one alpha, both passes
// filter colour alone, and each row's and each column's alpha once.
inline constexpr Shortcuts kShortcutOneAlpha = 32;

// Whether a shortcut may be taken now.
bool shortcutEnabled(Shortcuts shortcut);

// Test seam: only the shortcuts of the mask are taken from now on.
void restrictShortcuts(Shortcuts mask);

}  // namespace OZ::Image
