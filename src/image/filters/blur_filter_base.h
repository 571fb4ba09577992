#pragma once
// What every blur states: how far it reads beyond the output, and the
// temporary image it needs while it runs.

#include <cmath>

#include "image/device.h"
#include "image/device_program.h"
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

  // On a device the blur is a direct convolution, rows by `secondProgram`
  // into a temporary image, then columns by `program`. No program is built
  // here; the device says whether it samples this type linearly.
  void buildProgram(Host*, DeviceContext* device, const PixelDescriptor& descriptor) override {
    if (!this->deviceAvailable(device)) return;
    const std::int32_t key = descriptor.type == kUnsigned8    ? kInfoLinearSampling8
                             : descriptor.type == kUnsigned16 ? kInfoLinearSampling16
                             : descriptor.type == kHalfFloat  ? kInfoLinearSamplingHalf
                                                              : kInfoLinearSamplingOther;
    linearSampling = device->info(key) > 0;
  }

  void runKernel(Host*, DeviceBuffer& target, const DeviceBuffer* const* inputBuffers) override {
    if (!inputBuffers[0] || !inputBuffers[0]->handle) return;  // an input without pixels: nothing to read
    DeviceContext& device = *target.owner;
    const DeviceBuffer& input = *inputBuffers[0];
    // The target's columns over every input row the second pass reads;
    // freed on every way out.
    DeviceBuffer rows(&device);
    rows.rect = {target.rect.x0, input.rect.y0, target.rect.x1, input.rect.y1};
    rows.descriptor = target.descriptor;
    rows.handle = createDeviceMemory(device, rows.rect, rows.descriptor, true, 0);

    const KernelSetup alongRows = kernelSetup(sigmaX, linearSampling);
    const KernelArgument rowArguments[] = {integerArgument("support", alongRows.support), alongRows.seeds, {}};
    const DeviceBuffer* rowInputs[] = {&input};
    runDeviceProgram(secondProgram, rows, rowInputs, 1, rowArguments);

    const KernelSetup alongColumns = kernelSetup(sigmaY, linearSampling);
    const KernelArgument columnArguments[] = {integerArgument("support", alongColumns.support), alongColumns.seeds,
                                              useThreshold ? floatArgument("thresh", {threshold}) : KernelArgument{},
                                              {}};
    const DeviceBuffer* columnInputs[] = {&rows, &input};
    runDeviceProgram(this->program, target, columnInputs, useThreshold ? 2 : 1, columnArguments);
  }

  // What the device program needs to generate a Gaussian's weights one
  // after the other: weight w and ratio r give the next weight w × r and
  // the next ratio r × g2. The normalising sum is formed the same way, and
  // its biases stay: without linear sampling the centre counts three times
  // and the last tap not at all.
  struct KernelSetup {
    std::int32_t support;  // taps on each side
    KernelArgument seeds;  // "ksetup": g0, g1, g2, 1 / sum
  };
  static KernelSetup kernelSetup(float sigma, bool linearSampling) {
    const float s = sigma > 0.001f ? sigma : 0.001f;
    const float g0 = 1.0f / (2.5066283f * s);
    const float g1 = std::exp(-0.5f / (s * s));
    const float g2 = g1 * g1;
    const std::int32_t support = std::int32_t(std::ceil(3.0f * s));
    float sum = g0, w = g0, r = g1;
    if (linearSampling) {
      // Two taps per sample: the device reads between them.
      for (std::int32_t i = 1; i < support; i += 2) {
        const float u = w * r;
        r = r * g2;
        const float v = u * r;
        r = r * g2;
        sum += 2.0f * (w + u);
        w = v;
      }
    } else {
      for (std::int32_t i = 1; i < support; ++i) {
        const float next = w * r;
        r = r * g2;
        sum += 2.0f * w;
        w = next;
      }
    }
    return {support, floatArgument("ksetup", {g0, g1, g2, 1.0f / sum})};
  }

  SharedRef<DeviceProgram> secondProgram;
  float sigmaX, sigmaY;
  float threshold;
  std::int32_t orderX, orderY;  // derivative order per axis: 0, 1 or 2
  bool linearSampling = true;
  bool useThreshold = false;
};

}  // namespace OZ::Image
