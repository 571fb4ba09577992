#pragma once
// Levels: maps an input range of colour values onto an output range,
// optionally through a gamma curve, on the three colour channels.

#include "image/device.h"
#include "image/device_program.h"
#include "image/filter.h"
#include "image/filters/balance_kernels.h"
#include "image/shared_ref.h"

namespace OZ::Image {

template <class Host>
class BalanceFilter : public Filter<Host> {
 public:
  BalanceFilter(FilterBase<Host>* input, bool clamp, float inBlack, float inWhite, float outBlack, float outWhite,
                float gamma)
      : Filter<Host>(input),
        inBlack(inBlack),
        inWhite(inWhite),
        outBlack(outBlack),
        outWhite(outWhite),
        gamma(gamma),
        clamp(clamp) {}

  const char* filterName() const override { return "balance"; }
  bool canReuseInput(std::size_t) const override { return true; }

  void processBand(const Rect& band, std::uint64_t threadIndex) override {
    float scale, offset;
    getScaleOffset(scale, offset);
    HostProgress<Host> progress = this->progressFor(threadIndex);
    runBalanceBand(this->output->depth, channelOrder(this->output->format), this->targetView(), this->sourceView(0),
                   band, progress, scale, offset, gamma, clamp);
  }

  // On a device: the values on the scale 0 to 1 at every depth. Without a
  // curve `program` runs with scale and offset, with one `secondProgram`
  // with the exponent as well. Programs come from a driver that knows the
  // kernels; this filter builds none.
  void buildProgram(Host*, DeviceContext*, const PixelDescriptor&) override {}
  std::size_t kernelArgumentCount() const override { return gamma == 1.0f ? 2 : 3; }
  void fillKernelArguments(KernelArgument* arguments) const override {
    float scale, offset;
    getScaleOffset(scale, offset);
    arguments[0] = floatArgument("scale", {scale, scale, scale, 1.0f});
    arguments[1] = floatArgument("offset", {offset, offset, offset, 0.0f});
    if (gamma != 1.0f) arguments[2] = floatArgument("gamma", {balanceExponent<ScalarLevel>(gamma)});
  }
  void runKernel(Host*, DeviceBuffer& target, const DeviceBuffer* const* inputBuffers) override {
    KernelArgument arguments[4] = {};
    BalanceFilter::fillKernelArguments(arguments);
    runDeviceProgram(gamma == 1.0f ? this->program : secondProgram, target, inputBuffers, 1, arguments);
  }

  // The linear part of the mapping; subclasses map differently.
  virtual void getScaleOffset(float& scale, float& offset) const {
    balanceScaleOffset(inBlack, inWhite, outBlack, outWhite, scale, offset);
  }

  SharedRef<DeviceProgram> secondProgram;
  float inBlack, inWhite;    // the input range, on the scale 0 to 1
  float outBlack, outWhite;  // what the ends of the input range map to
  float gamma;               // exactly 1.0: no curve
  bool clamp;                // limit the result at white
};

}  // namespace OZ::Image
