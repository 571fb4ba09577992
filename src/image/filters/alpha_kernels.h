#pragma once
// Between premultiplied and straight colour: one scalar kernel per pixel
// format, no processor levels.

#include "image/pixel_format.h"
#include "image/progress.h"
#include "image/rect.h"
#include "image/views.h"

namespace OZ::Image {

enum class AlphaOperation { Premultiply, Unmultiply };

// One band. Depths other than 8, 16 and 32 leave the target untouched.
void runAlphaBand(AlphaOperation operation, int depth, ChannelOrder order, const TargetView& target,
                  const SourceView& source, const Rect& band, Progress& progress);

}  // namespace OZ::Image
