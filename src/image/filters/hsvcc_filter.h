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

  void getScaleOffset(float& scale, float& offset) const override {
    scale = valueScale;
    offset = 0.0f;
  }

  float hueShift;         // in turns: 1.0 is the whole circle
  float saturationScale;
  float valueScale;
};

}  // namespace OZ::Image
