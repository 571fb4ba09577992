// The full desaturation's driver and scalar kernel.
#include "image/filters/desaturation_kernels.h"

#include "image/filters/desaturation_pixel.h"
#include "image/filters/processor_flags.h"
#include "image/kernel_walk.h"
#include "image/pixel_layout.h"

namespace OZ::Image {
namespace {

template <class Layout>
bool runDesaturationScalar(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress) {
  noteLevelRun(KernelLevel::Scalar);
  bool allShort = true;
  walkPixels<ScalarLevel, Layout::bytes>(
      target, band, progress,
      [&](unsigned char* out, const unsigned char* in) { allShort &= DesaturationPixel<ScalarLevel, Layout>::convert(out, in); },
      source);
  return allShort;
}

}  // namespace

bool runDesaturationBand(int depth, ChannelOrder order, const TargetView& target, const SourceView& source,
                         const Rect& band, Progress& progress) {
  bool allShort = false;
  visitLayout(depth, order, [&]<class Layout>() {
    const ProcessorFlags flags = queryProcessorFlags();
    if (flags & kFlagSSE41)
      allShort = runDesaturationLevel<SSE41Level, Layout>(target, source, band, progress);
    else if (flags & kFlagSSSE3)
      allShort = runDesaturationLevel<SSSE3Level, Layout>(target, source, band, progress);
    else if (flags & kFlagSSE2)
      allShort = runDesaturationLevel<SSE2Level, Layout>(target, source, band, progress);
    else
      allShort = runDesaturationScalar<Layout>(target, source, band, progress);
  });
  return allShort;
}

}  // namespace OZ::Image
