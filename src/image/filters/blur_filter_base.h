#pragma once
// What every blur states: how far it reads beyond the output, and the
// temporary image it needs while it runs.

#include <cmath>

#include "image/device.h"
#include "image/filter.h"
#include "image/shared_ref.h"

namespace OZ::Image {

// Standard deviations along a row and a column, in pixels, and a threshold
// that only the device path reads.
struct BlurSigmas {
  float sigmaX;
  float sigmaY;
  float threshold;
};

template <class Host>
class BlurFilterBase : public Filter<Host> {
 public:
  BlurFilterBase(FilterBase<Host>* input, const BlurSigmas& sigmas, std::int32_t orderX, std::int32_t orderY)
      : Filter<Host>(input),
        sigmaX(sigmas.sigmaX),
        sigmaY(sigmas.sigmaY),
        threshold(sigmas.threshold),
        orderX(orderX),
        orderY(orderY) {}

  // The output needs 3.5 deviations of input on every side, within the
  // input's own bounds.
  Rect inputRegion(const Rect& rect, std::size_t) const override {
    const std::int32_t rx = std::int32_t(std::ceil(sigmaX * 3.5f)), ry = std::int32_t(std::ceil(sigmaY * 3.5f));
    const Rect grown = isInfinite(rect) ? rect : Rect{rect.x0 - rx, rect.y0 - ry, rect.x1 + rx, rect.y1 + ry};
    return this->inputs.empty() ? grown : intersect(grown, this->inputs[0]->bounds());
  }

  // The intermediate image of one pass over rect.
  std::uint64_t extraMemory(int, const Rect& rect, const PixelDescriptor& descriptor) const override {
    const std::int32_t area = std::int32_t((std::uint32_t(rect.x1) - std::uint32_t(rect.x0)) *
                                           (std::uint32_t(rect.y1) - std::uint32_t(rect.y0)));
    return std::uint64_t(std::int64_t(area)) * descriptor.components * componentBytes(descriptor.type);
  }

  SharedRef<DeviceProgram> secondProgram;
  float sigmaX, sigmaY;
  float threshold;
  std::int32_t orderX, orderY;  // derivative order per axis: 0, 1 or 2
  bool linearSampling = true;
  bool useThreshold = false;
};

}  // namespace OZ::Image
