#pragma once
// The one record that holds pixels: a thin shell around the host's world
// record. It wraps a world the host owns, owns a world the host allocated for
// it, owns a private block of host handle memory laid out here, or views part
// of another record. Filters use it without knowing which.
//
// What the record asks of its Host (the adapter supplies these members):
//   using World (fields world_flags, data, rowbytes, width, height,
//     extent_hint {left, top, right, bottom}, origin_x, origin_y),
//   using Handle, using Error (constructible from an int host code),
//   applicationId(), referenceWorld() (the output world, or null),
//   lock (a std::mutex),
//   hasWorldService(), serviceNewWorld(w, h, format, world), serviceDisposeWorld(world),
//   serviceWorldFormat(world, format), hasPixelFormatService(), pixelFormatOf(world, format),
//   newWorld(w, h, flags, world), disposeWorld(world), copyWorld(source, target, sourceRect, targetRect),
//   fillWorld(rect, world), newHandle(size), lockHandle(handle), disposeHandle(handle), handleSize(handle).
// Every member that returns an int returns 0 on success or the host's code.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>

#include "image/pixel_conversion.h"
#include "image/pixel_format.h"
#include "image/private_block.h"
#include "image/rect.h"
#include "image/views.h"

namespace OZ::Image {

// The application identifier of Premiere Pro, which wants private blocks for
// deep images.
inline constexpr std::int32_t kPremiereApplicationId = 'P' << 24 | 'r' << 16 | 'M' << 8 | 'r';

inline constexpr std::int32_t kWorldFlagDeep = 1;
inline constexpr std::int32_t kNewWorldFlagDeep = 2;

template <class Host>
class ImageBuffer {
 public:
  using World = typename Host::World;
  using Handle = typename Host::Handle;

  explicit ImageBuffer(Host* host, const World* wrapped = nullptr);
  ~ImageBuffer();
  ImageBuffer(const ImageBuffer&) = delete;
  ImageBuffer& operator=(const ImageBuffer&) = delete;

  void release();
  void allocate(const Rect& rect);
  void allocateLike(const ImageBuffer& model, const Rect& rect);
  void viewOf(const ImageBuffer& source, const Rect& rect);
  void copyFrom(const ImageBuffer& source);
  void clear(const Rect& rect);

  std::int64_t rowStride() const;
  unsigned char* firstRow() const;
  unsigned char* pixelAddress(std::int32_t x, std::int32_t y) const;
  PixelDescriptor descriptor() const { return describePixels(format, depth, rowStride() < 0); }
  bool hasPixels() const { return firstRow() != nullptr; }
  bool usesPrivateBlock() const { return blockHandle != nullptr; }

  SourceView sourceView() const { return {bounds, firstRow(), rowStride(), Rect{0, 0, 0, 0}}; }
  TargetView targetView() const { return {bounds, firstRow(), rowStride()}; }

  Host* host;
  World world;
  Rect bounds;  // the pixels that hold data, in the composition's coordinates
  Rect frame;   // the rectangle the memory covers
  Host* blockHost = nullptr;
  Handle blockHandle = nullptr;
  unsigned char* blockData = nullptr;  // aligned up to 32 bytes
  std::mutex* blockLock = nullptr;
  PixelFormatCode format = formatCode("argb");
  std::int32_t depth = 8;
  std::uint8_t owned = 0;

 private:
  void allocateBlock(std::size_t bytes);
  void freeBlock();
  void layOutPrivateBlock(const Rect& rect, std::int32_t width, std::int32_t height);
  bool strideSignDiffers() const;

  unsigned char* blockBase_ = nullptr;  // the locked handle's own address
};

template <class Host>
ImageBuffer<Host>::ImageBuffer(Host* host, const World* wrapped) : host(host), world{}, bounds{}, frame{} {
  if (!wrapped || !wrapped->data) return;
  world = *wrapped;
  int result;
  if (host->hasPixelFormatService())
    result = host->pixelFormatOf(world, format);
  else if (host->hasWorldService())
    result = host->serviceWorldFormat(world, format);
  else {
    format = world.world_flags & kWorldFlagDeep ? formatCode("ae16") : formatCode("argb");
    result = 0;
  }
  if (result != 0) throw typename Host::Error(result);
  depth = formatDepth(format);
  frame = {world.origin_x, world.origin_y, world.origin_x + world.width, world.origin_y + world.height};
  bounds = {world.extent_hint.left + world.origin_x, world.extent_hint.top + world.origin_y,
            world.extent_hint.right + world.origin_x, world.extent_hint.bottom + world.origin_y};
}

template <class Host>
ImageBuffer<Host>::~ImageBuffer() {
  release();
  freeBlock();
}

template <class Host>
void ImageBuffer<Host>::release() {
  if (blockHandle && host->handleSize(blockHandle) != 0) {
    freeBlock();
    world.data = nullptr;
    return;
  }
  if (owned && world.data) {
    if (host->hasWorldService())
      host->serviceDisposeWorld(world);
    else
      host->disposeWorld(world);
    world.data = nullptr;
  }
}

template <class Host>
void ImageBuffer<Host>::allocate(const Rect& rect) {
  bounds = frame = rect;
  const std::int32_t w = width(rect), h = height(rect);
  if (w <= 0 || h <= 0) return;
  if (host->applicationId() == kPremiereApplicationId && depth != 8) {
    layOutPrivateBlock(rect, w, h);
  } else if (host->hasWorldService()) {
    if (host->serviceNewWorld(w, h, format, world) != 0) throw std::bad_alloc();
  } else if (depth >= 17) {
    layOutPrivateBlock(rect, w, h);
  } else {
    const bool deep = format == formatCode("ae16");
    if (!deep && format != formatCode("argb")) throw std::bad_alloc();
    if (host->newWorld(w, h, deep ? kNewWorldFlagDeep : 0, world) != 0) throw std::bad_alloc();
    world.origin_x = rect.x0;
    world.origin_y = rect.y0;
  }
  owned = 1;
}

template <class Host>
void ImageBuffer<Host>::allocateLike(const ImageBuffer& model, const Rect& rect) {
  release();
  format = model.format;
  depth = model.depth;
  allocate(rect);
}

template <class Host>
void ImageBuffer<Host>::layOutPrivateBlock(const Rect& rect, std::int32_t w, std::int32_t h) {
  world = World{};
  // Rows start on 32-byte boundaries, for the vector kernels.
  const std::int64_t rowbytes = (std::int64_t(depth / 8) * w * 4 + 31) & ~std::int64_t(31);
  allocateBlock(std::size_t(rowbytes * h));
  world.rowbytes = decltype(world.rowbytes)(rowbytes);
  world.data = reinterpret_cast<decltype(world.data)>(blockData);
  world.width = w;
  world.height = h;
  world.extent_hint.right = w;
  world.extent_hint.bottom = h;
  world.origin_x = rect.x0;
  world.origin_y = rect.y0;
  owned = 1;
}

template <class Host>
void ImageBuffer<Host>::allocateBlock(std::size_t bytes) {
  freeBlock();
  if (bytes == 0) return;
  const PrivateBlock<Host> block = acquirePrivateBlock(*host, bytes);
  blockHost = host;
  blockLock = &host->lock;
  blockHandle = block.handle;
  blockBase_ = block.base;
  blockData = block.data;
}

template <class Host>
void ImageBuffer<Host>::freeBlock() {
  if (!blockHandle) return;
  releasePrivateBlock(*blockHost, *blockLock, blockHandle);
  blockHandle = nullptr;
  blockData = nullptr;
  blockBase_ = nullptr;
}

template <class Host>
void ImageBuffer<Host>::viewOf(const ImageBuffer& source, const Rect& rect) {
  release();
  world = source.world;
  frame = source.frame;
  format = source.format;
  depth = source.depth;
  owned = 0;
  const Rect& s = source.bounds;
  bounds = {rect.x0 > s.x0 ? rect.x0 : s.x0, rect.y0 > s.y0 ? rect.y0 : s.y0, rect.x1 < s.x1 ? rect.x1 : s.x1,
            rect.y1 < s.y1 ? rect.y1 : s.y1};
  if (world.data) {
    unsigned char* corner = reinterpret_cast<unsigned char*>(world.data) +
                            (std::int64_t(bounds.x0) - s.x0) * 4 * (depth / 8) +
                            (std::int64_t(bounds.y0) - s.y0) * source.rowStride();
    world.data = reinterpret_cast<decltype(world.data)>(corner);
  }
}

template <class Host>
bool ImageBuffer<Host>::strideSignDiffers() const {
  const World* reference = host ? host->referenceWorld() : nullptr;
  if (!reference) return false;
  return (world.rowbytes < 0) != (reference->rowbytes < 0);
}

template <class Host>
std::int64_t ImageBuffer<Host>::rowStride() const {
  return strideSignDiffers() ? -std::int64_t(world.rowbytes) : std::int64_t(world.rowbytes);
}

template <class Host>
unsigned char* ImageBuffer<Host>::firstRow() const {
  unsigned char* data = reinterpret_cast<unsigned char*>(world.data);
  if (!data) return nullptr;
  if (strideSignDiffers()) data += (std::int64_t(bounds.y1) - bounds.y0 - 1) * std::int64_t(world.rowbytes);
  return data;
}

template <class Host>
unsigned char* ImageBuffer<Host>::pixelAddress(std::int32_t x, std::int32_t y) const {
  return firstRow() + rowStride() * (std::int64_t(y) - bounds.y0) + std::int64_t(depth / 8) * 4 * (std::int64_t(x) - bounds.x0);
}

namespace Detail {

template <class Target, class Source>
void convertRow(unsigned char* target, const unsigned char* source, std::int32_t pixels, const int (&map)[4]) {
  Target* out = reinterpret_cast<Target*>(target);
  const Source* in = reinterpret_cast<const Source*>(source);
  for (std::int32_t x = 0; x < pixels; ++x, out += 4, in += 4) {
    Source pixel[4];
    std::memcpy(pixel, in, sizeof pixel);  // the copy may run in place
    for (int c = 0; c < 4; ++c) convertComponent(pixel[map[c]], out[c]);
  }
}

template <class Target>
void convertRowFrom(int sourceDepth, unsigned char* target, const unsigned char* source, std::int32_t pixels,
                    const int (&map)[4]) {
  if (sourceDepth == 32)
    convertRow<Target, float>(target, source, pixels, map);
  else if (sourceDepth == 16)
    convertRow<Target, std::uint16_t>(target, source, pixels, map);
  else
    convertRow<Target, std::uint8_t>(target, source, pixels, map);
}

}  // namespace Detail

template <class Host>
void ImageBuffer<Host>::copyFrom(const ImageBuffer& source) {
  const Rect area = intersect(bounds, source.bounds);
  if (isEmpty(area)) return;
  // Whole host worlds of our own: the host copies, and converts if it must.
  if (area == frame && area == source.frame && !blockHandle && !source.blockHandle && owned && source.owned &&
      (host->applicationId() != kPremiereApplicationId || format == source.format)) {
    const Rect sourceRect{area.x0 - source.frame.x0, area.y0 - source.frame.y0, area.x1 - source.frame.x0,
                          area.y1 - source.frame.y0};
    const Rect targetRect{area.x0 - frame.x0, area.y0 - frame.y0, area.x1 - frame.x0, area.y1 - frame.y0};
    const int result = host->copyWorld(source.world, world, &sourceRect, area == bounds ? nullptr : &targetRect);
    if (result != 0) throw typename Host::Error(result);
    return;
  }
  // For each target component, where the same channel sits in the source.
  int map[4] = {0, 1, 2, 3};
  ChannelPositions targetPositions, sourcePositions;
  if (formatPositions(format, targetPositions) && formatPositions(source.format, sourcePositions))
    for (int channel = 0; channel < 4; ++channel) map[targetPositions[channel]] = sourcePositions[channel];
  const bool identity = map[0] == 0 && map[1] == 1 && map[2] == 2 && map[3] == 3;
  const std::int32_t pixels = width(area);
  for (std::int32_t y = area.y0; y < area.y1; ++y) {
    unsigned char* target = pixelAddress(area.x0, y);
    const unsigned char* from = source.pixelAddress(area.x0, y);
    if (depth == source.depth && identity)
      std::memmove(target, from, std::size_t(depth / 8) * 4 * std::size_t(pixels));
    else if (depth == 32)
      Detail::convertRowFrom<float>(source.depth, target, from, pixels, map);
    else if (depth == 16)
      Detail::convertRowFrom<std::uint16_t>(source.depth, target, from, pixels, map);
    else
      Detail::convertRowFrom<std::uint8_t>(source.depth, target, from, pixels, map);
  }
}

template <class Host>
void ImageBuffer<Host>::clear(const Rect& rect) {
  const Rect area = intersect(rect, bounds);
  if (area == bounds && width(bounds) == world.width && height(bounds) == world.height) {
    if (blockHandle) {
      std::memset(blockBase_, 0, host->handleSize(blockHandle));
      return;
    }
    const int result = host->fillWorld(nullptr, world);
    if (result != 0) throw typename Host::Error(result);
    return;
  }
  if (blockHandle || !owned) {
    if (isEmpty(area)) return;
    const std::size_t bytes = std::size_t(depth / 8) * 4 * std::size_t(width(area));
    for (std::int32_t y = area.y0; y < area.y1; ++y) std::memset(pixelAddress(area.x0, y), 0, bytes);
    return;
  }
  const Rect relative{area.x0 - frame.x0, area.y0 - frame.y0, area.x1 - frame.x0, area.y1 - frame.y0};
  const int result = host->fillWorld(&relative, world);
  if (result != 0) throw typename Host::Error(result);
}

}  // namespace OZ::Image
