#pragma once
// The plain records through which kernels read and write pixels. Both are
// filled on the calling thread before the bands start.

#include <cstdint>

#include "image/rect.h"

namespace OZ::Image {

struct SourceView {
  Rect rect;                  // the pixels the view covers
  const unsigned char* data;  // pixel (rect.x0, rect.y0)
  std::int64_t stride;        // bytes from one row to the next; may be negative
  Rect border;                // left, top, right, bottom: pixels of rect that are not valid
};

struct TargetView {
  Rect rect;
  unsigned char* data;
  std::int64_t stride;
};

template <class View>
auto* pixelAt(const View& view, std::int32_t x, std::int32_t y, int bytesPerPixel) {
  return view.data + (std::int64_t(y) - view.rect.y0) * view.stride + (std::int64_t(x) - view.rect.x0) * bytesPerPixel;
}

}  // namespace OZ::Image
