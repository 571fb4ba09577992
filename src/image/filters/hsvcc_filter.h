#pragma once
// Colour correction in hue, saturation and value. When only the value
// changes, the levels kernels do the work; when all colour goes, a short
// route sets each pixel's channels to its value, and the filter can then
// vouch for three equal colour channels in its result. Levels without a
// curve that feed only a full desaturation are taken into it: each pixel
// goes through both in one pass, and their image is never stored.

#include <atomic>
#include <optional>
#include <typeinfo>

#include "image/filters/balance_filter.h"
#include "image/filters/desaturation_kernels.h"
#include "image/filters/hsvcc_kernels.h"
#include "image/shortcuts.h"

namespace OZ::Image {

template <class Host>
class HSVCCFilter final : public BalanceFilter<Host> {
 public:
  using Image = ImageBuffer<Host>;

  HSVCCFilter(FilterBase<Host>* input, float hueShift, float saturationScale, float valueScale)
      : BalanceFilter<Host>(input, false, 0.0f, 1.0f, 0.0f, 1.0f, 1.0f),
        hueShift(hueShift),
        saturationScale(saturationScale),
        valueScale(valueScale) {}

  const char* filterName() const override { return "HSVCC"; }
  bool canReuseInput(std::size_t) const override { return true; }

  // The levels count as their own node in the progress.
  std::uint64_t progressUnits() const override { return levelsFirst ? 2 : 1; }

  int absorbInput(FilterBase<Host>* input) override {
    if (levelsFirst || !fullDesaturation() || !shortcutEnabled(kShortcutDesaturation) ||
        !shortcutEnabled(kShortcutLevelsIntoDesaturation) || typeid(*input) != typeid(BalanceFilter<Host>) ||
        input->consumers.size() != 1)
      return 0;
    const auto& levels = static_cast<const BalanceFilter<Host>&>(*input);
    if (levels.gamma != 1.0f || !levels.clamp) return 0;
    LevelsFirst first;
    levels.getScaleOffset(first.scale, first.offset);
    levelsFirst = first;
    return 1;
  }

  void process(Host* host, Image& output, Image* const* inputImages) override {
    greyResult = {};
    desaturating = fullDesaturation() && (levelsFirst || shortcutEnabled(kShortcutDesaturation));
    everyPixelGrey.store(desaturating, std::memory_order_relaxed);
    Filter<Host>::process(host, output, inputImages);
    if (everyPixelGrey.load(std::memory_order_relaxed))
      greyResult = {output.firstRow(), output.rowStride(), output.bounds};
  }

  // Only the image this node wrote in its last process, where every pixel
  // took the short route.
  bool equalColourChannels(const Image& image) const override {
    return greyResult.firstRow && image.firstRow() == greyResult.firstRow && image.rowStride() == greyResult.stride &&
           image.bounds == greyResult.bounds;
  }

  void processBand(const Rect& band, std::uint64_t threadIndex) override {
    if (hueShift == 0.0f && saturationScale == 1.0f) {
      BalanceFilter<Host>::processBand(band, threadIndex);  // a plain scale of the colour by value
      return;
    }
    HostProgress<Host> progress = this->progressFor(threadIndex);
    if (desaturating) {
      if (!runDesaturationBand(this->output->depth, channelOrder(this->output->format), this->targetView(),
                               this->sourceView(0), band, progress, levelsFirst ? &*levelsFirst : nullptr))
        everyPixelGrey.store(false, std::memory_order_relaxed);
      return;
    }
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
    greyResult = {};
    if (hueShift == 0.0f && saturationScale == 1.0f) BalanceFilter<Host>::runKernel(host, target, inputBuffers);
    FilterBase<Host>::runKernel(host, target, inputBuffers);
  }

  void getScaleOffset(float& scale, float& offset) const override {
    scale = valueScale;
    offset = 0.0f;
  }

  // The levels taken in, if any.
  const LevelsFirst* levelsTaken() const { return levelsFirst ? &*levelsFirst : nullptr; }

  // No colour left: every pixel's channels end at its value.
  bool fullDesaturation() const { return hueShift == 0.0f && saturationScale == 0.0f && valueScale == 1.0f; }

  float hueShift;         // in turns: 1.0 is the whole circle
  float saturationScale;
  float valueScale;

 private:
  struct GreyResult {
    const unsigned char* firstRow = nullptr;
    std::int64_t stride = 0;
    Rect bounds = emptyRect;
  };
  std::optional<LevelsFirst> levelsFirst;  // the levels taken in, if any
  bool desaturating = false;               // this process takes the short route
  std::atomic<bool> everyPixelGrey{false};
  GreyResult greyResult;  // where it vouches for equal colour channels
};

}  // namespace OZ::Image
