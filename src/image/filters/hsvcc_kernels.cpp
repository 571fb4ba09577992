#include "image/filters/hsvcc_kernels.h"

#include "image/filters/hsvcc_pixel.h"
#include "image/filters/processor_flags.h"
#include "image/kernel_walk.h"
#include "image/pixel_layout.h"

namespace OZ::Image {

template <class Layout>
void runHsvccScalar(const TargetView& target, const SourceView& source, const Rect& band, Progress& progress,
                    float hueShift, float saturationScale, float valueScale) {
  noteLevelRun(KernelLevel::Scalar);
  const HsvccSettings settings(hueShift, saturationScale, valueScale);
  walkPixels<ScalarLevel, Layout::bytes>(
      target, band, progress,
      [&settings](unsigned char* out, const unsigned char* in) {
        HsvccPixel<ScalarLevel, Layout>::convert(out, in, settings);
      },
      source);
}

#define OZ_HSVCC_SCALAR(Layout)                                                                                    \
  template void runHsvccScalar<Layout>(const TargetView&, const SourceView&, const Rect&, Progress&, float, float, \
                                       float);
OZ_FOR_EACH_LAYOUT(OZ_HSVCC_SCALAR)

void runHsvccBand(int depth, ChannelOrder order, const TargetView& target, const SourceView& source, const Rect& band,
                  Progress& progress, float hueShift, float saturationScale, float valueScale) {
  visitLayout(depth, order, [&]<class Layout>() {
    const ProcessorFlags flags = queryProcessorFlags();
    if ((flags & kFlagSSE41) &&
        runHsvccLevel<SSE41Level, Layout>(target, source, band, progress, hueShift, saturationScale, valueScale))
      return;
    if ((flags & kFlagSSSE3) &&
        runHsvccLevel<SSSE3Level, Layout>(target, source, band, progress, hueShift, saturationScale, valueScale))
      return;
    if ((flags & kFlagSSE2) &&
        runHsvccLevel<SSE2Level, Layout>(target, source, band, progress, hueShift, saturationScale, valueScale))
      return;
    runHsvccScalar<Layout>(target, source, band, progress, hueShift, saturationScale, valueScale);
  });
}

}  // namespace OZ::Image
