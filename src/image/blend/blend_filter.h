#pragma once
// The one filter with two inputs: the backdrop A (first input) and the
// layer B on top (second), combined in one of the blend modes with B's
// alpha weighted by a constant opacity. Bounds are A's; both inputs are
// asked for the output's rectangle unchanged.

#include <cstdint>

#include "image/blend/blend_kernels.h"
#include "image/blend/blend_modes.h"
#include "image/device.h"
#include "image/device_program.h"
#include "image/filter.h"
#include "image/shared_ref.h"

namespace OZ::Image {

template <class Host>
class BlendFilter : public Filter<Host> {
 public:
  // A first, then B, each in the input list and the consumers in that order.
  BlendFilter(FilterBase<Host>* inputA, FilterBase<Host>* inputB, std::uint32_t mode, float opacity)
      : Filter<Host>(inputA, inputB), mode(mode), opacity(opacity) {}

  const char* filterName() const override { return "blend"; }
  // Every kernel reads a pixel of both inputs before it writes that pixel.
  bool canReuseInput(std::size_t) const override { return true; }

  // Depth, channel order, level and mode are chosen here, once per band.
  void processBand(const Rect& band, std::uint64_t threadIndex) override {
    HostProgress<Host> progress = this->progressFor(threadIndex);
    runBlendBand(this->output->depth, channelOrder(this->output->format), this->targetView(), this->sourceView(0),
                 this->sourceView(1), band, progress, mode, opacity);
  }

  // On a device: one program for every mode, which the driver built for
  // this node, with the opacity as its one argument. Only Behind differs,
  // by handing the inputs over exchanged.
  void buildProgram(Host*, DeviceContext*, const PixelDescriptor&) override {}
  void runKernel(Host*, DeviceBuffer& target, const DeviceBuffer* const* inputBuffers) override {
    const KernelArgument arguments[] = {floatArgument("opacity", {opacity}), KernelArgument{}};
    const DeviceBuffer* const exchanged[] = {inputBuffers[1], inputBuffers[0]};
    runDeviceProgram(this->program, target, mode == BlendBehind ? exchanged : inputBuffers, 2, arguments);
  }

  SharedRef<DeviceProgram> secondProgram;
  std::uint32_t mode;  // a BlendMode; any other number acts as BlendNormal
  float opacity;       // on B's alpha, taken as it stands: not limited to 0..1
};

}  // namespace OZ::Image
