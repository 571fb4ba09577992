#include "image/filters/alpha_kernels.h"

#include <cstring>

#include "image/filters/processor_flags.h"
#include "image/kernel_walk.h"
#include "image/pixel_conversion.h"
#include "image/pixel_layout.h"

namespace OZ::Image {
namespace {

// Alpha on the 0..1 scale; 16-bit full scale is 32768, so the factor is 2^-15.
template <class Layout>
float normalisedAlpha(typename Layout::Component alpha) {
  if constexpr (Layout::depth == 8) return float(alpha) / 255.0f;
  if constexpr (Layout::depth == 16) return float(alpha) * 3.0517578e-05f;
  if constexpr (Layout::depth == 32) return alpha;
}

struct Premultiply {
  static float factor(float alpha) { return alpha; }
};

// A pixel with no alpha keeps its colour; in float, so does a negative or
// not-a-number alpha, as the comparison fails.
struct Unmultiply {
  static float factor(float alpha) { return alpha > 0.0f ? 1.0f / alpha : 1.0f; }
};

// Integers round half up and keep only their low bits: no clamp, by
// decision, so a colour above its alpha wraps when unmultiplied.
template <class Layout>
typename Layout::Component scaledColour(typename Layout::Component colour, float factor) {
  using Component = typename Layout::Component;
  if constexpr (Layout::isFloat)
    return colour * factor;
  else
    return Component(truncateToInt(float(colour) * factor + 0.5f));
}

template <class Operation, class Layout>
void alphaKernel(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress) {
  using Component = typename Layout::Component;
  walkPixels<ScalarLevel, Layout::bytes>(
      target, band, progress,
      [](unsigned char* out, const unsigned char* in) {
        Component pixel[4];
        std::memcpy(pixel, in, sizeof pixel);  // read the whole pixel first: safe in place
        const float factor = Operation::factor(normalisedAlpha<Layout>(pixel[Layout::alpha]));
        for (int channel = 0; channel < 4; ++channel)
          if (channel != Layout::alpha) pixel[channel] = scaledColour<Layout>(pixel[channel], factor);
        std::memcpy(out, pixel, sizeof pixel);
      },
      source);
}

}  // namespace

void runAlphaBand(AlphaOperation operation, int depth, ChannelOrder order, const TargetView& target,
                  const SourceView& source, const Rect& band, Progress& progress) {
  visitLayout(depth, order, [&]<class Layout>() {
    if (operation == AlphaOperation::Premultiply)
      alphaKernel<Premultiply, Layout>(target, source, band, progress);
    else
      alphaKernel<Unmultiply, Layout>(target, source, band, progress);
  });
}

}  // namespace OZ::Image
