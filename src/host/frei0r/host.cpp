#include "host/frei0r/host.h"

#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <thread>

#include "image/exception.h"

namespace OZ::Host::Frei0r {
namespace {

// Rows start on 32-byte boundaries, for the vector kernels.
constexpr std::size_t kRowAlignment = 32;

// What the latch holds after a failed iteration.
constexpr std::uint32_t kStopped = 1;

struct ThreadRun {
  Host::ThreadFunction function;
  void* data;
  std::uint64_t count;
  Host* host;
  std::mutex failureLock;
  std::exception_ptr failure;
};

// No exception may leave a worker: the first is kept for the caller, and
// the latch stops the other iterations at their next report.
void runIteration(std::uint64_t iteration, void* context) {
  ThreadRun& run = *static_cast<ThreadRun*>(context);
  try {
    run.function(iteration, run.count, iteration, run.data);
  } catch (...) {
    {
      std::lock_guard<std::mutex> guard(run.failureLock);
      if (!run.failure) run.failure = std::current_exception();
    }
    run.host->abortCode.store(kStopped);
  }
}

bool validRect(const Rect& rect, const World& world) {
  return rect.x0 >= 0 && rect.y0 >= 0 && rect.x0 <= rect.x1 && rect.y0 <= rect.y1 && rect.x1 <= world.width &&
         rect.y1 <= world.height;
}

}  // namespace

// ---- workers ---------------------------------------------------------------

std::uint64_t Host::iterationsWanted() const {
  if (threadCount != 0) return threadCount;
  const std::uint64_t processors = std::thread::hardware_concurrency();
  if (processors == 0) return 1;
  return processors < kMaxProcessorThreads ? processors : kMaxProcessorThreads;
}

void Host::runThreads(ThreadFunction function, void* data, std::uint64_t count) {
  const std::uint64_t iterations = count != 0 ? count : iterationsWanted();
  if (iterations <= 1) {
    function(0, 1, 0, data);  // on this thread; exceptions pass straight through
    return;
  }
  ThreadRun run{function, data, iterations, this, {}, {}};
  pool_.run(iterations, &runIteration, &run);
  if (run.failure) std::rethrow_exception(run.failure);
  if (abortCode.load() != 0) throw OZ::Interrupted();
}

void Host::checkAbort(std::uint64_t) {
  if (abortCode.load(std::memory_order_relaxed) != 0) throw OZ::Interrupted();
}

void Host::reportProgress(std::uint64_t, std::int64_t, std::int64_t) {
  if (abortCode.load(std::memory_order_relaxed) != 0) throw OZ::Interrupted();
}

// ---- worlds ------------------------------------------------------------------

int Host::serviceNewWorld(std::int32_t width, std::int32_t height, OZ::Image::PixelFormatCode format, World& world) {
  const int depth = OZ::Image::formatDepth(format);
  if (depth != 8 && depth != 16 && depth != 32) return kUnsupported;
  if (width <= 0 || height <= 0) return kUnsupported;
  const std::uint64_t packed = std::uint64_t(width) * std::uint64_t(OZ::Image::bytesPerPixel(depth));
  const std::uint64_t rowbytes = (packed + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  const std::uint64_t bytes = rowbytes * std::uint64_t(height);
  if (bytes / std::uint64_t(height) != rowbytes || bytes > std::numeric_limits<std::size_t>::max())
    return kOutOfMemory;
  void* memory = ::operator new[](std::size_t(bytes), std::align_val_t(kRowAlignment), std::nothrow);
  if (!memory) return kOutOfMemory;
  std::memset(memory, 0, std::size_t(bytes));
  world = World{};
  world.world_flags = depth == 16 ? OZ::Image::kWorldFlagDeep : 0;
  world.data = static_cast<unsigned char*>(memory);
  world.rowbytes = std::int64_t(rowbytes);
  world.width = width;
  world.height = height;
  world.extent_hint = {0, 0, width, height};
  world.format = format;
  return 0;
}

int Host::serviceDisposeWorld(World& world) {
  ::operator delete[](world.data, std::align_val_t(kRowAlignment));
  world.data = nullptr;
  return 0;
}

int Host::serviceWorldFormat(const World& world, OZ::Image::PixelFormatCode& format) {
  format = world.format;
  return 0;
}

int Host::pixelFormatOf(const World& world, OZ::Image::PixelFormatCode& format) {
  format = world.format;
  return 0;
}

int Host::newWorld(std::int32_t width, std::int32_t height, std::int32_t flags, World& world) {
  const bool deep = (flags & OZ::Image::kNewWorldFlagDeep) != 0;
  return serviceNewWorld(width, height, OZ::Image::formatCode(deep ? "ae16" : "argb"), world);
}

int Host::disposeWorld(World& world) { return serviceDisposeWorld(world); }

int Host::copyWorld(const World& source, World& target, const Rect* sourceRect, const Rect* targetRect) {
  const Rect from = sourceRect ? *sourceRect : Rect{0, 0, source.width, source.height};
  const Rect to = targetRect ? *targetRect : Rect{0, 0, target.width, target.height};
  if (source.format != target.format || !validRect(from, source) || !validRect(to, target) ||
      OZ::Image::width(from) != OZ::Image::width(to) || OZ::Image::height(from) != OZ::Image::height(to))
    return kUnsupported;
  const std::int64_t pixel = OZ::Image::bytesPerPixel(OZ::Image::formatDepth(source.format));
  const std::size_t bytes = std::size_t(pixel * OZ::Image::width(from));
  for (std::int32_t row = 0; row < OZ::Image::height(from); ++row)
    std::memmove(target.data + (std::int64_t(to.y0) + row) * target.rowbytes + to.x0 * pixel,
                 source.data + (std::int64_t(from.y0) + row) * source.rowbytes + from.x0 * pixel, bytes);
  return 0;
}

int Host::fillWorld(const Rect* rect, World& world) {
  const Rect area = rect ? *rect : Rect{0, 0, world.width, world.height};
  if (!validRect(area, world)) return kUnsupported;
  const std::int64_t pixel = OZ::Image::bytesPerPixel(OZ::Image::formatDepth(world.format));
  const std::size_t bytes = std::size_t(pixel * OZ::Image::width(area));
  for (std::int32_t row = area.y0; row < area.y1; ++row)
    std::memset(world.data + std::int64_t(row) * world.rowbytes + area.x0 * pixel, 0, bytes);
  return 0;
}

// ---- handles -----------------------------------------------------------------

Host::Handle Host::newHandle(std::uint64_t bytes) { return newMemoryBlock(bytes); }

void* Host::lockHandle(Handle handle) { return handle ? handle->bytes : nullptr; }

void Host::disposeHandle(Handle handle) { disposeMemoryBlock(handle); }

std::uint64_t Host::handleSize(Handle handle) { return handle ? handle->size : 0; }

}  // namespace OZ::Host::Frei0r
