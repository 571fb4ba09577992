#pragma once
// Pixels between host images and device buffers. Host memory takes part in
// a device copy through a handle that wraps it, released right after.

#include <memory>
#include <new>

#include "image/device.h"
#include "image/device_program.h"
#include "image/image_buffer.h"

namespace OZ::Image {

// A device handle for the image's own memory, rows normalised to run with a
// positive stride (the descriptor's flag tells the device they run bottom up).
template <class Host>
DeviceHandle wrapImageMemory(DeviceContext& device, const ImageBuffer<Host>& image, const PixelDescriptor& descriptor) {
  unsigned char* data = image.firstRow();
  std::int64_t stride = image.rowStride();
  if (stride < 0) {
    data += (std::int64_t(height(image.bounds)) - 1) * stride;
    stride = -stride;
  }
  const DeviceHandle handle =
      device.table->wrapMemory(device.context, device.device, &image.bounds, &descriptor, data, stride);
  if (!handle) throw std::bad_alloc();
  return handle;
}

// Copies the part of the image that the buffer covers into the buffer.
template <class Host>
void copyImageToDevice(DeviceContext& device, const ImageBuffer<Host>& image, const DeviceBuffer& target) {
  const Rect area = intersect(image.bounds, target.rect);
  if (isEmpty(area) || !image.hasPixels()) return;
  DeviceBuffer wrapped(&device);
  wrapped.handle = wrapImageMemory(device, image, deviceDescriptor(&device, image.descriptor()));
  device.table->copyRegion(device.context, device.device, &area, &area, wrapped.handle, target.handle);
}

// Puts an image on the device, into buffer (made when missing). A buffer
// that has memory, or a device that wants copies, gets the pixels copied;
// otherwise the device reads the host memory in place.
template <class Host>
void uploadImage(DeviceContext& device, const ImageBuffer<Host>& image, std::shared_ptr<DeviceBuffer>& buffer) {
  if (!image.hasPixels()) return;
  if (!buffer) buffer = std::make_shared<DeviceBuffer>(&device);
  const PixelDescriptor descriptor = deviceDescriptor(&device, image.descriptor());
  if (buffer->handle || device.info(kInfoCopyImages) == 1) {
    if (!buffer->handle) {
      buffer->owner = &device;
      buffer->rect = image.bounds;
      buffer->descriptor = descriptor;
      buffer->handle = createDeviceMemory(device, image.bounds, descriptor, false, 0);
    }
    copyImageToDevice(device, image, *buffer);
    return;
  }
  buffer->owner = &device;
  buffer->rect = image.bounds;
  buffer->descriptor = descriptor;
  buffer->handle = wrapImageMemory(device, image, descriptor);
  device.table->setBufferMode(device.context, device.device, buffer->handle, kBufferModeHostMemory);
}

// Reads a buffer back into image; an image without pixels is first made
// like `like` over the buffer's rectangle.
template <class Host>
void downloadImage(Host* host, DeviceContext& device, const DeviceBuffer& buffer,
                   std::shared_ptr<ImageBuffer<Host>>& image, const ImageBuffer<Host>& like) {
  if (!image) image = std::make_shared<ImageBuffer<Host>>(host);
  if (!image->hasPixels()) image->allocateLike(like, buffer.rect);
  const Rect area = intersect(buffer.rect, image->bounds);
  if (image->hasPixels() && !isEmpty(area)) {
    DeviceBuffer wrapped(&device);
    wrapped.handle = wrapImageMemory(device, *image, deviceDescriptor(&device, image->descriptor()));
    device.table->copyRegion(device.context, device.device, &area, &area, buffer.handle, wrapped.handle);
  }
  device.table->setBufferState(device.context, device.device, buffer.handle, kBufferStateReadBack, 0, 0);
}

}  // namespace OZ::Image
