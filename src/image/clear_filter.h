#pragma once
// An endless transparent black plane.

#include "image/filter_base.h"

namespace OZ::Image {

template <class Host>
class ClearFilter final : public FilterBase<Host> {
 public:
  using Image = ImageBuffer<Host>;

  const char* filterName() const override { return "clear"; }
  Rect bounds() const override { return infiniteRect; }
  std::uint64_t progressUnits() const override { return 0; }
  bool canReuseInput(std::size_t) const override { return true; }
  void process(Host*, Image& output, Image* const*) override { output.clear(output.bounds); }

  // No program and no limits: any device can clear.
  int deviceMode(DeviceContext* device) const override { return this->deviceAvailable(device) ? 1 : 0; }
  void runKernel(Host*, DeviceBuffer& target, const DeviceBuffer* const*) override {
    const DeviceContext& device = *target.owner;
    device.table->clearRegion(device.context, device.device, &target.rect, target.handle);
  }
};

}  // namespace OZ::Image
