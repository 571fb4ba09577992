#pragma once
// The source node: the leaf through which a host layer's pixels enter a
// graph. Consumers read the host's memory through a view, so no pixel is
// copied on the way in. Without an image it holds only a rectangle, which
// is all the region and identity queries need.

#include "image/filter_base.h"

namespace OZ::Image {

template <class Host>
class FilterLayer final : public FilterBase<Host> {
 public:
  using Image = ImageBuffer<Host>;

  FilterLayer(Image* image, const Rect& layerBounds) : image(image), layerBounds(image ? emptyRect : layerBounds) {}

  const char* filterName() const override { return "layer"; }
  // The whole memory of the layer, not just the part that holds data.
  Rect bounds() const override { return image ? image->frame : layerBounds; }
  Rect inputRegion(const Rect& rect, std::size_t) const override { return rect; }
  std::uint64_t progressUnits() const override { return 0; }
  Image* directImage() const override { return image; }

  // On a device the layer needs no program, only the device it was asked for.
  int deviceMode(DeviceContext* device) const override {
    return device && device->table && device->usable && deviceState ? 1 : 0;
  }
  void buildProgram(Host*, DeviceContext* device, const PixelDescriptor&) override { deviceState = device; }
  // Only reached as the root of a graph: the frame goes into the device target.
  void runKernel(Host*, DeviceBuffer& target, const DeviceBuffer* const*) override {
    if (image) copyImageToDevice(*target.owner, *image, target);
  }

  // Only reached as the root of a graph: the frame is copied through.
  void process(Host*, Image& output, Image* const*) override {
    if (image->firstRow() != output.firstRow()) output.copyFrom(*image);
  }

  Image* image;
  Rect layerBounds;
  DeviceContext* deviceState = nullptr;  // remembered by buildProgram
};

}  // namespace OZ::Image
