#pragma once
// The adapter between a frei0r host and the effect: everything the effect
// and the image library ask of a host, answered by the plug-in itself,
// since a frei0r host offers nothing beyond handing frames over. Worlds and
// handles come from the C++ allocator, threads from a pool of the
// instance's own. The effect derives from this class and replaces its
// virtual operations, as it does on the After Effects adapter.

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "host/frei0r/memory_block.h"
#include "host/frei0r/worker_pool.h"
#include "host/frei0r/world.h"
#include "host/param/parameters.h"
#include "image/image_buffer.h"
#include "image/rect.h"

namespace OZ::Host::Frei0r {

using OZ::Image::Rect;

// Nested progress scaling, kept for the image library's bookkeeping; a
// frei0r host has no progress bar to move.
struct ProgressLevel {
  std::uint64_t current = 0;
  std::uint64_t total = 0;
  std::uint64_t share = 0;
  std::uint8_t fixed = 0;
};

class Host {
 public:
  using World = Frei0r::World;
  using Handle = MemoryBlock*;
  using Image = OZ::Image::ImageBuffer<Host>;
  using Store = OZ::Host::Param::Parameters;
  using LayerList = std::vector<Rect>;

  // A refused request: one of the codes below.
  class Error {
   public:
    explicit Error(int code) : code(code) {}
    int code;
  };
  static constexpr int kOutOfMemory = 4;
  static constexpr int kUnsupported = 512;

  // What applicationId() answers: no application of the other adapter.
  static constexpr std::int32_t kApplicationId = 'F' << 24 | '0' << 16 | 'R' << 8 | '1';
  // One worker per processor, but no more than this many.
  static constexpr std::uint64_t kMaxProcessorThreads = 16;

  Host() = default;
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  virtual ~Host() = default;

  // The operations the effect replaces; the frei0r instance calls them.
  virtual void about() {}
  virtual void defineParameters(Store& store) = 0;
  virtual void prepareFrame(Store&, const Rect& /*outputBounds*/) {}
  virtual void prepareFrameBounds(Store&, const Rect& /*outputBounds*/) {}
  virtual void renderFrame(Store& store, Image& input, Image& output, Image& spare, Image** extraLayers) = 0;
  virtual Rect inputRect(Store&, const Rect& rect, const Rect& /*limit*/, LayerList&) { return rect; }
  virtual void maxTileSize(Store&, std::int32_t& /*width*/, std::int32_t& /*height*/) {}

  // Band i of n with its thread index, which here is the iteration index:
  // exactly one iteration has thread index 0. Blocks until every iteration
  // has ended; the first exception a worker caught is thrown here.
  using ThreadFunction = void (*)(std::uint64_t bandIndex, std::uint64_t bandCount, std::uint64_t threadIndex,
                                  void* data);
  void runThreads(ThreadFunction function, void* data, std::uint64_t count);
  // There is no host to ask: both only look at the latched abort code,
  // which a failed iteration sets so that the others stop early.
  void checkAbort(std::uint64_t marker);
  void reportProgress(std::uint64_t marker, std::int64_t current, std::int64_t total);
  // How many iterations a run of count 0 gets.
  std::uint64_t iterationsWanted() const;

  std::int32_t currentFrame() const { return frame; }
  void getDownsample(float& x, float& y) const { x = y = 1.0f; }

  // What the image records ask of the host. Every int result is 0 or one of
  // the codes above.
  std::int32_t applicationId() const { return kApplicationId; }
  const World* referenceWorld() const { return output; }
  bool hasWorldService() const { return true; }
  int serviceNewWorld(std::int32_t width, std::int32_t height, OZ::Image::PixelFormatCode format, World& world);
  int serviceDisposeWorld(World& world);
  int serviceWorldFormat(const World& world, OZ::Image::PixelFormatCode& format);
  bool hasPixelFormatService() const { return true; }
  int pixelFormatOf(const World& world, OZ::Image::PixelFormatCode& format);
  int newWorld(std::int32_t width, std::int32_t height, std::int32_t flags, World& world);
  int disposeWorld(World& world);
  // Rectangles are relative to each world's memory; a null target rectangle
  // is the whole target. Both must be the same size and format.
  int copyWorld(const World& source, World& target, const Rect* sourceRect, const Rect* targetRect);
  // Transparent black over rect, or over the whole world when rect is null.
  int fillWorld(const Rect* rect, World& world);
  Handle newHandle(std::uint64_t bytes);
  void* lockHandle(Handle handle);
  void unlockHandle(Handle) {}
  void disposeHandle(Handle handle);
  std::uint64_t handleSize(Handle handle);

  // Set by the frei0r instance before each render.
  std::int32_t frame = 0;
  const World* output = nullptr;
  std::uint64_t threadCount = 0;  // 0: one per processor
  std::atomic<std::uint32_t> abortCode{0};
  ProgressLevel progressLevels[4];
  std::mutex lock;  // guards allocation by image records, which any worker may do

 private:
  WorkerPool pool_;
};

}  // namespace OZ::Host::Frei0r
