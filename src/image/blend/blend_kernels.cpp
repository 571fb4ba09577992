// The blend driver and its scalar kernels.
#include "image/blend/blend_kernels.h"

#include "image/blend/blend_kernel.h"
#include "image/filters/processor_flags.h"
#include "image/pixel_layout.h"

namespace OZ::Image {

void runBlendBand(int depth, ChannelOrder order, const TargetView& target, const SourceView& first,
                  const SourceView& second, const Rect& band, Progress& progress, std::uint32_t mode, float opacity) {
  visitLayout(depth, order, [&]<class Layout>() {
    const ProcessorFlags flags = queryProcessorFlags();
    if ((flags & kFlagSSE41) && runBlendLevel<SSE41Level, Layout>(target, first, second, band, progress, mode, opacity))
      return;
    if ((flags & kFlagSSSE3) && runBlendLevel<SSSE3Level, Layout>(target, first, second, band, progress, mode, opacity))
      return;
    if ((flags & kFlagSSE2) && runBlendLevel<SSE2Level, Layout>(target, first, second, band, progress, mode, opacity))
      return;
    noteLevelRun(KernelLevel::Scalar);
    runBlendMode<ScalarLevel, Layout>(target, first, second, band, progress, mode, opacity);
  });
}

}  // namespace OZ::Image
