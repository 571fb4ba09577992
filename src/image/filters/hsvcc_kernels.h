#pragma once
// Hue, saturation and value correction of a band: the general path, which
// converts every pixel to HSV, rotates the hue, scales saturation and value
// and converts back. (A pure value scale is the levels filter's business.)

#include "image/pixel_format.h"
#include "image/progress.h"
#include "image/rect.h"
#include "image/views.h"

namespace OZ::Image {

// One band of the hue/saturation/value correction (the path that does not
// delegate to the levels filter). Level by the flag word: 1024, 256, 64, scalar.
// Depths other than 8, 16, 32 do nothing.
void runHsvccBand(int depth, ChannelOrder order, const TargetView& target, const SourceView& source, const Rect& band,
                  Progress& progress, float hueShift, float saturationScale, float valueScale);

// The kernels behind runHsvccBand, one per layout. A level entry returns
// whether it took the band; each level's entries are instantiated in that
// level's own file (hsvcc_sse2.cpp, hsvcc_ssse3.cpp, hsvcc_sse41.cpp).
template <class Level, class Layout>
bool runHsvccLevel(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                   float hueShift, float saturationScale, float valueScale);

template <class Layout>
void runHsvccScalar(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                    float hueShift, float saturationScale, float valueScale);

}  // namespace OZ::Image
