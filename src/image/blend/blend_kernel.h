#pragma once
// The one kernel template of the blend: kernel<Level, Layout, Mode> walks a
// band with the shared walk; the spans it hands the walk decide what a
// level does with a row (blend_vector.h for the vector levels, below for
// scalar). The tables of kernels and the mode selection come from the mode
// list, and are the only code that knows how many kernels there are.

#include <cstdint>
#include <utility>

#include "image/blend/blend_formulas.h"
#include "image/blend/blend_modes.h"
#include "image/blend/blend_pixel.h"
#include "image/filters/processor_flags.h"
#include "image/kernel_walk.h"
#include "image/progress.h"
#include "image/views.h"

namespace OZ::Image {

using BlendKernelFunction = void (*)(const TargetView& target, const SourceView& first, const SourceView& second,
                                     const Rect& band, float opacity, Progress& progress);

// What a level does with the spans of one row: edge(y, x0, x1) for pixels
// outside the inner rectangle, inner(y, x0, x1) for the rest.
template <class Level, class Layout, class Mode>
struct BlendSpans;

// Scalar: every span is the same one-pixel loop.
template <class Layout, class Mode>
struct BlendSpans<ScalarLevel, Layout, Mode> {
  using Pixel = BlendScalarPixel<ScalarLevel, Layout, Mode>;
  static constexpr int bytes = Layout::bytes;

  const TargetView& target;
  const SourceView& first;
  const SourceView& second;
  float opacity;

  void edge(std::int32_t y, std::int32_t x0, std::int32_t x1) {
    if (x1 <= x0) return;
    unsigned char* out = pixelAt(target, x0, y, bytes);
    const unsigned char* a = pixelAt(first, x0, y, bytes);
    const unsigned char* b = pixelAt(second, x0, y, bytes);
    for (std::int32_t x = x0; x < x1; ++x, out += bytes, a += bytes, b += bytes) Pixel::blend(out, a, b, opacity);
  }
  void inner(std::int32_t y, std::int32_t x0, std::int32_t x1) { edge(y, x0, x1); }
};

template <class Level, class Layout, class Mode>
void blendKernel(const TargetView& target, const SourceView& first, const SourceView& second, const Rect& band,
                 float opacity, Progress& progress) {
  BlendSpans<Level, Layout, Mode> spans{target, first, second, opacity};
  walkBand<Level>(band, innerRect<Level>(band, first, second), progress, spans);
}

// The kernel of every mode of the list at one level and layout.
template <class Level, class Layout>
struct BlendKernelTable {
  static constexpr BlendKernelFunction kernels[kBlendModeCount] = {
#define OZ_BLEND_KERNEL(number, name, formula) &blendKernel<Level, Layout, formula>,
      OZ_BLEND_MODES(OZ_BLEND_KERNEL)
#undef OZ_BLEND_KERNEL
  };
};

// The mode selection, the same at every level: BlendBehind runs the Normal
// kernel with the inputs exchanged, and the scalar level follows
// BlendLuminosity with BlendStencilAlpha over the same band (which rewrites
// every pixel from the inputs).
template <class Level, class Layout>
void runBlendMode(const TargetView& target, const SourceView& first, const SourceView& second, const Rect& band,
                  Progress& progress, std::uint32_t mode, float opacity) {
  const BlendKernelFunction* kernels = BlendKernelTable<Level, Layout>::kernels;
  const BlendMode chosen = effectiveBlendMode(mode);
  SourceView a = first, b = second;
  a.border = b.border = Rect{0, 0, 0, 0};
  if (chosen == BlendBehind) std::swap(a, b);
  kernels[chosen](target, a, b, band, opacity, progress);
  if constexpr (Level::level == KernelLevel::Scalar)
    if (chosen == BlendLuminosity) kernels[BlendStencilAlpha](target, a, b, band, opacity, progress);
}

}  // namespace OZ::Image
