#pragma once
// The blend of two images over one band: the format driver and the level
// entries, as plain functions on views. BlendFilter sits on top of this.

#include <cstdint>

#include "image/pixel_format.h"
#include "image/progress.h"
#include "image/rect.h"
#include "image/views.h"

namespace OZ::Image {

// One band of mode `mode` (any number outside the list acts as
// BlendNormal): first is the backdrop A, second the layer B on top. The
// depth and order pick the format (other depths do nothing), the flag word
// the level: bits 1024, 256, 64, scalar last. The output may share memory
// with either input.
void runBlendBand(int depth, ChannelOrder order, const TargetView& target, const SourceView& first,
                  const SourceView& second, const Rect& band, Progress& progress, std::uint32_t mode, float opacity);

// The vector entries behind runBlendBand, one per level and layout; each
// returns whether it took the band. Each level's entries are instantiated
// in that level's own files (blend_*_sse2.cpp and so on).
template <class Level, class Layout>
bool runBlendLevel(const TargetView& target, const SourceView& first, const SourceView& second, const Rect& band,
                   Progress& progress, std::uint32_t mode, float opacity);

}  // namespace OZ::Image
