// The levels driver and its scalar kernels. The scalar kernels truncate on
// the integer store and keep alpha; the vector levels round and send alpha
// through the lanes. Both are intended (docs/rounding.md).
#include "image/filters/balance_kernels.h"

#include <cmath>
#include <cstdint>
#include <cstring>

#include "image/kernel_walk.h"
#include "image/pixel_layout.h"

namespace OZ::Image {
namespace {

template <class Layout, bool Clamp, bool Gamma>
struct BalanceScalarPixel {
  using Component = typename Layout::Component;

  float scale;
  float offset;  // already in the layout's own range
  float exponent;

  // Integer stores take white above white and truncate toward zero below.
  static Component store(float value) {
    if constexpr (Layout::isFloat)
      return value;
    else
      return value > Layout::white ? Component(Layout::white) : Component(std::int32_t(value));
  }

  void operator()(unsigned char* out, const unsigned char* in) const {
    // Read the whole pixel first: out may be in.
    Component pixel[4];
    std::memcpy(pixel, in, sizeof pixel);
    for (int channel = 0; channel < 4; ++channel) {
      if (channel == Layout::alpha) continue;
      const float c = float(pixel[channel]);
      // Raw channel values go into the curve: 255 enters as 255.0.
      float value = (Gamma ? std::pow(c, exponent) : c) * scale + offset;
      value = value > 0.0f ? value : 0.0f;  // NaN becomes 0, as in the vector levels
      if constexpr (Clamp) value = value < Layout::white ? value : Layout::white;
      pixel[channel] = store(value);
    }
    std::memcpy(out, pixel, sizeof pixel);
  }
};

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
  const float whiteOffset = Layout::isFloat ? offset : offset * Layout::white;
  // A pixel needs no neighbours, so every piece of the walk does the same
  // work and the source is taken as valid throughout.
  SourceView whole = source;
  whole.border = {0, 0, 0, 0};
  walkPixels<ScalarLevel, Layout::bytes>(target, band, progress,
                                         BalanceScalarPixel<Layout, Clamp, Gamma>{scale, whiteOffset, exponent}, whole);
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
