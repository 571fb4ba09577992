// The levels driver and its scalar kernel.
#include "image/filters/balance_kernels.h"

#include "image/filters/balance_pixel.h"
#include "image/kernel_walk.h"
#include "image/pixel_layout.h"

namespace OZ::Image {
namespace {

template <class Layout, bool Clamp, bool Gamma>
void runBalanceVariant(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                       float scale, float offset, float gamma) {
  const float exponent = Gamma ? balanceExponent<ScalarLevel>(gamma) : 0.0f;

  // No SSSE3 kernels: the levels arithmetic gains nothing from byte shuffles.
  const ProcessorFlags flags = queryProcessorFlags();
  if ((flags & kFlagSSE41) &&
      runBalanceLevel<SSE41Level, Layout, Clamp, Gamma>(target, source, band, progress, scale, offset, exponent))
    return;
  if ((flags & kFlagSSE2) &&
      runBalanceLevel<SSE2Level, Layout, Clamp, Gamma>(target, source, band, progress, scale, offset, exponent))
    return;

  noteLevelRun(KernelLevel::Scalar);
  BalanceScalarPixel<Layout, Clamp, Gamma> pixel = BalanceScalarPixel<Layout, Clamp, Gamma>::linear(scale, offset);
  pixel.exponent = exponent;
  // A pixel needs no neighbours, so every piece of the walk does the same
  // work and the source is taken as valid throughout.
  SourceView whole = source;
  whole.border = {0, 0, 0, 0};
  walkPixels<ScalarLevel, Layout::bytes>(target, band, progress, pixel, whole);
}

}  // namespace

void runBalanceBand(int depth, ChannelOrder order, const TargetView& target, const SourceView& source, const Rect& band,
                    Progress& progress, float scale, float offset, float gamma, bool clamp) {
  const bool curve = gamma != 1.0f;
  visitLayout(depth, order, [&]<class Layout>() {
    if (clamp) {
      curve ? runBalanceVariant<Layout, true, true>(target, source, band, progress, scale, offset, gamma)
            : runBalanceVariant<Layout, true, false>(target, source, band, progress, scale, offset, gamma);
    } else {
      curve ? runBalanceVariant<Layout, false, true>(target, source, band, progress, scale, offset, gamma)
            : runBalanceVariant<Layout, false, false>(target, source, band, progress, scale, offset, gamma);
    }
  });
}

void balanceScaleOffset(float inBlack, float inWhite, float outBlack, float outWhite, float& scale, float& offset) {
  scale = inBlack == inWhite ? 1e38f : (outWhite - outBlack) / (inWhite - inBlack);
  // Steep slopes are capped; negative ones are not limited.
  scale = scale < 255.0f ? scale : 255.0f;
  offset = outBlack - inBlack * scale;
}

}  // namespace OZ::Image
