#pragma once
// Colour correction in hue, saturation and value. When only the value
// changes, the levels kernels do the work.

#include "image/filters/balance_filter.h"
#include "image/filters/hsvcc_kernels.h"

namespace OZ::Image {

template <class Host>
class HSVCCFilter final : public BalanceFilter<Host> {
 public:
  HSVCCFilter(FilterBase<Host>* input, float hueShift, float saturationScale, float valueScale)
      : BalanceFilter<Host>(input, false, 0.0f, 1.0f, 0.0f, 1.0f, 1.0f),
        hueShift(hueShift),
        saturationScale(saturationScale),
        valueScale(valueScale) {}

  const char* filterName() const override { return "HSVCC"; }
  bool canReuseInput(std::size_t) const override { return true; }

  void processBand(const Rect& band, std::uint64_t threadIndex) override {
    if (hueShift == 0.0f && saturationScale == 1.0f) {
      BalanceFilter<Host>::processBand(band, threadIndex);  // a plain scale of the colour by value
      return;
    }
    HostProgress<Host> progress = this->progressFor(threadIndex);
    runHsvccBand(this->output->depth, channelOrder(this->output->format), this->targetView(), this->sourceView(0),
                 band, progress, hueShift, saturationScale, valueScale);
  }

  // On a device: with hue and saturation unchanged the levels program runs
  // first; the filter's own program runs in every case after it, and its
  // output is what stays.
  std::size_t kernelArgumentCount() const override { return 2; }
  void fillKernelArguments(KernelArgument* arguments) const override {
    arguments[0] = floatArgument("ccH", {hueShift});
    arguments[1] = floatArgument("ccSV", {saturationScale, valueScale});
  }
  void runKernel(Host* host, DeviceBuffer& target, const DeviceBuffer* const* inputBuffers) override {
    if (hueShift == 0.0f && saturationScale == 1.0f) BalanceFilter<Host>::runKernel(host, target, inputBuffers);
    FilterBase<Host>::runKernel(host, target, inputBuffers);
  }

  void getScaleOffset(float& scale, float& offset) const override {
    scale = valueScale;
    offset = 0.0f;
  }

  float hueShift;         // in turns: 1.0 is the whole circle
  float saturationScale;
  float valueScale;
};

}  // namespace OZ::Image
