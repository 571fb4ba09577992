// The full desaturation's driver and scalar kernel.
#include "image/filters/desaturation_kernels.h"

#include "image/filters/balance_pixel.h"
#include "image/filters/desaturation_pixel.h"
#include "image/filters/processor_flags.h"
#include "image/kernel_walk.h"
#include "image/pixel_layout.h"

namespace OZ::Image {
namespace {

// The levels step, if any, into a scratch pixel; then the conversion.
template <class Layout>
bool runDesaturationScalar(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                           const LevelsFirst* levels) {
  noteLevelRun(KernelLevel::Scalar);
  using Levels = BalanceScalarPixel<Layout, true, false>;
  const Levels first = levels ? Levels::linear(levels->scale, levels->offset) : Levels{};
  bool allShort = true;
  walkPixels<ScalarLevel, Layout::bytes>(
      target, band, progress,
      [&](unsigned char* out, const unsigned char* in) {
        unsigned char scratch[16];
        if (levels) first(scratch, in);
        allShort &= DesaturationPixel<ScalarLevel, Layout>::convert(out, levels ? scratch : in);
      },
      source);
  return allShort;
}

template <class Level, class Layout>
bool runLevel(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
              const LevelsFirst* levels) {
  return levels ? runDesaturationLevel<Level, Layout>(target, source, band, progress, *levels)
                : runDesaturationLevel<Level, Layout>(target, source, band, progress, AsStored{});
}

}  // namespace

bool runDesaturationBand(int depth, ChannelOrder order, const TargetView& target, const SourceView& source,
                         const Rect& band, Progress& progress, const LevelsFirst* levels) {
  bool allShort = false;
  visitLayout(depth, order, [&]<class Layout>() {
    const ProcessorFlags flags = queryProcessorFlags();
    if (flags & kFlagSSE41)
      allShort = runLevel<SSE41Level, Layout>(target, source, band, progress, levels);
    else if (flags & kFlagSSSE3)
      allShort = runLevel<SSSE3Level, Layout>(target, source, band, progress, levels);
    else if (flags & kFlagSSE2)
      allShort = runLevel<SSE2Level, Layout>(target, source, band, progress, levels);
    else
      allShort = runDesaturationScalar<Layout>(target, source, band, progress, levels);
  });
  return allShort;
}

}  // namespace OZ::Image
