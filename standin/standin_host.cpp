#include "standin/standin_host.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "standin/standin_callbacks.h"
#include "standin/standin_pool.h"

namespace StandIn {
namespace {

StandInHost* liveHost = nullptr;

constexpr std::size_t kRowAlignment = 16;
constexpr std::size_t kGuardBytes = 64;  // after the last row: overruns land here, not in another block
constexpr std::size_t kSpareBlocks = 4;  // freed worlds kept for reuse

}  // namespace

// One block of pixels the stand-in handed out, plug-in's or application's.
struct StandInHost::WorldRecord {
  unsigned char* block;
  std::size_t bytes;
  PixelFormatCode format;
  bool plugin;  // asked for by the plug-in, rather than a layer of the application
};

struct HandleRecord {
  void* data;  // first, so that a handle is a pointer to its data pointer
  A_HandleSize size;
  int locks;
  bool application;  // the application's own, or handed over to it
};

StandInHost::StandInHost(const Settings& settings) : settings_(settings), previous_(liveHost) {
  liveHost = this;
  installUtilityCallbacks(utils_, settings_);
  installInteractCallbacks(inData_.inter);
  inData_.utils = &utils_;
  inData_.effect_ref = reinterpret_cast<PF_ProgPtr>(this);
  inData_.quality = PF_Quality_HI;
  inData_.version.major = settings_.versionMajor;
  inData_.version.minor = settings_.versionMinor;
  inData_.appl_id = settings_.applicationId;
  inData_.time_step = 1;
  inData_.local_time_step = 1;
  inData_.time_scale = 1;
  inData_.downsample_x = {1, 1};
  inData_.downsample_y = {1, 1};
  inData_.pixel_aspect_ratio = {1, 1};
  inData_.pica_basicP = settings_.basicSuite ? basicSuite() : nullptr;
  pool_ = std::make_unique<Pool>();
}

StandInHost::~StandInHost() {
  pool_.reset();
  for (auto& entry : handles_) {
    std::free(entry.second->data);
    delete entry.second;
  }
  for (auto& entry : worlds_) std::free(entry.second->block);
  for (auto& entry : spareBlocks_) std::free(entry.second);
  liveHost = previous_;
}

StandInHost* StandInHost::current() {
  if (!liveHost) {
    std::fputs("stand-in host: a callback came with no stand-in host alive\n", stderr);
    std::abort();
  }
  return liveHost;
}

void StandInHost::setTime(A_long currentTime, A_long timeStep, A_u_long timeScale) {
  inData_.current_time = currentTime;
  inData_.time_step = timeStep;
  inData_.local_time_step = timeStep;
  inData_.time_scale = timeScale;
}

// ---- worlds ----------------------------------------------------------------

namespace {

// The bytes of a world's block: rows aligned, and guard space after the
// last. 0 for a format without pixels the stand-in can lay out.
std::size_t blockBytes(A_long width, A_long height, PixelFormatCode format, std::size_t& rowBytes) {
  const int depth = OZ::Image::formatDepth(format);
  if (depth != 8 && depth != 16 && depth != 32) return 0;
  rowBytes = (std::size_t(OZ::Image::bytesPerPixel(depth)) * std::size_t(width) + kRowAlignment - 1) & ~(kRowAlignment - 1);
  return (rowBytes * std::size_t(height) + kGuardBytes + kRowAlignment - 1) & ~(kRowAlignment - 1);
}

void layOut(PF_EffectWorld& world, A_long width, A_long height, PixelFormatCode format, std::size_t rowBytes,
            std::size_t bytes, bool negativeRows, bool poison, unsigned char* block) {
  if (poison) std::memset(block, 0xA5, bytes);  // not cleared: a filter must write every pixel it owns
  world = PF_EffectWorld{};
  const bool deep = OZ::Image::formatDepth(format) == 16;
  world.world_flags = PF_WorldFlags(PF_WorldFlag_WRITEABLE) | (deep ? PF_WorldFlags(PF_WorldFlag_DEEP) : 0);
  world.width = width;
  world.height = height;
  world.extent_hint = {0, 0, width, height};
  world.pix_aspect_ratio = {1, 1};
  if (negativeRows) {
    world.data = reinterpret_cast<PF_PixelPtr>(block + rowBytes * std::size_t(height - 1));
    world.rowbytes = -A_long(rowBytes);
  } else {
    world.data = reinterpret_cast<PF_PixelPtr>(block);
    world.rowbytes = A_long(rowBytes);
  }
}

}  // namespace

PF_EffectWorld* StandInHost::makeLayerWorld(std::int32_t width, std::int32_t height, PixelFormatCode format,
                                            std::int32_t originX, std::int32_t originY, bool negativeRows) {
  std::size_t rowBytes = 0;
  const std::size_t bytes = width > 0 && height > 0 ? blockBytes(width, height, format, rowBytes) : 0;
  auto* block = bytes ? static_cast<unsigned char*>(std::aligned_alloc(kRowAlignment, bytes)) : nullptr;
  if (!block) throw std::invalid_argument("stand-in host: cannot make a layer world of that size and format");
  auto* world = new PF_EffectWorld{};
  layOut(*world, width, height, format, rowBytes, bytes, negativeRows, settings_.poisonWorlds, block);
  world->origin_x = originX;
  world->origin_y = originY;
  std::lock_guard<std::mutex> guard(mutex_);
  worlds_[world->data] = std::make_unique<WorldRecord>(WorldRecord{block, bytes, format, false});
  return world;
}

void StandInHost::disposeLayerWorld(PF_EffectWorld* world) {
  {
    std::lock_guard<std::mutex> guard(mutex_);
    auto found = worlds_.find(world->data);
    if (found != worlds_.end()) {
      std::free(found->second->block);
      worlds_.erase(found);
    }
  }
  delete world;
}

PF_EffectWorld* StandInHost::makeLayerView(const PF_EffectWorld& layer, const PF_LRect& rect) {
  const PixelFormatCode format = formatOf(layer);
  const std::ptrdiff_t pixel = OZ::Image::bytesPerPixel(OZ::Image::formatDepth(format));
  auto* view = new PF_EffectWorld(layer);
  view->world_flags = layer.world_flags & ~PF_WorldFlags(PF_WorldFlag_WRITEABLE);
  view->data = reinterpret_cast<PF_PixelPtr>(reinterpret_cast<char*>(layer.data) + std::ptrdiff_t(rect.top) * layer.rowbytes +
                                              std::ptrdiff_t(rect.left) * pixel);
  view->width = rect.right - rect.left;
  view->height = rect.bottom - rect.top;
  view->extent_hint = {0, 0, view->width, view->height};
  view->origin_x = rect.left;
  view->origin_y = rect.top;
  std::lock_guard<std::mutex> guard(mutex_);
  views_.emplace(view->data, format);
  return view;
}

void StandInHost::disposeLayerView(PF_EffectWorld* view) {
  {
    std::lock_guard<std::mutex> guard(mutex_);
    auto found = views_.find(view->data);
    if (found != views_.end()) views_.erase(found);
  }
  delete view;
}

PF_Err StandInHost::allocateWorld(A_long width, A_long height, PixelFormatCode format, bool clear,
                                  PF_EffectWorld* world) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (++worldRequests_ == faults.refuseWorld) return PF_Err_OUT_OF_MEMORY;
  if (width <= 0 || height <= 0) return PF_Err_BAD_CALLBACK_PARAM;
  std::size_t rowBytes = 0;
  const std::size_t bytes = blockBytes(width, height, format, rowBytes);
  if (!bytes) return PF_Err_BAD_CALLBACK_PARAM;
  // A host keeps freed worlds for the next request rather than give the
  // memory back and fault it in again: the plug-in's intermediate images
  // come and go every frame.
  unsigned char* block = nullptr;
  auto spare = spareBlocks_.find(bytes);
  if (spare != spareBlocks_.end()) {
    block = spare->second;
    spareBlocks_.erase(spare);
  } else {
    block = static_cast<unsigned char*>(std::aligned_alloc(kRowAlignment, bytes));
  }
  if (!block) return PF_Err_OUT_OF_MEMORY;
  layOut(*world, width, height, format, rowBytes, bytes, false, settings_.poisonWorlds, block);
  if (clear)
    for (A_long y = 0; y < height; ++y)
      std::memset(reinterpret_cast<unsigned char*>(world->data) + std::ptrdiff_t(y) * world->rowbytes, 0,
                  std::size_t(OZ::Image::bytesPerPixel(OZ::Image::formatDepth(format))) * std::size_t(width));
  worlds_[world->data] = std::make_unique<WorldRecord>(WorldRecord{block, bytes, format, true});
  ++pluginWorlds_;
  holdPluginBytes(bytes);
  return PF_Err_NONE;
}

PF_Err StandInHost::releaseWorld(PF_EffectWorld* world) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto found = worlds_.find(world->data);
  if (found == worlds_.end() || !found->second->plugin) return PF_Err_BAD_CALLBACK_PARAM;
  dropPluginBytes(found->second->bytes);
  spareBlocks_.emplace(found->second->bytes, found->second->block);
  if (spareBlocks_.size() > kSpareBlocks) {
    std::free(spareBlocks_.begin()->second);
    spareBlocks_.erase(spareBlocks_.begin());
  }
  worlds_.erase(found);
  --pluginWorlds_;
  world->data = nullptr;
  return PF_Err_NONE;
}

PixelFormatCode StandInHost::formatOf(const PF_EffectWorld& world) const {
  std::lock_guard<std::mutex> guard(mutex_);
  auto found = worlds_.find(world.data);
  if (found != worlds_.end()) return found->second->format;
  auto view = views_.find(world.data);
  return view == views_.end() ? 0 : view->second;
}

int StandInHost::worldRequests() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return worldRequests_;
}

int StandInHost::handleRequests() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return handleRequests_;
}

std::size_t StandInHost::liveWorlds() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return pluginWorlds_;
}

// ---- handles ---------------------------------------------------------------

PF_Handle StandInHost::allocateHandle(A_HandleSize bytes) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (++handleRequests_ == faults.refuseHandle) return nullptr;
  auto* record = new HandleRecord{std::malloc(bytes ? bytes : 1), bytes, 0, false};
  if (!record->data) {
    delete record;
    return nullptr;
  }
  PF_Handle handle = &record->data;
  handles_[handle] = record;
  holdPluginBytes(bytes);
  return handle;
}

PF_Handle StandInHost::applicationHandle(A_HandleSize bytes) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto* record = new HandleRecord{std::malloc(bytes ? bytes : 1), bytes, 0, true};
  if (!record->data) {
    delete record;
    throw std::bad_alloc();
  }
  PF_Handle handle = &record->data;
  handles_[handle] = record;
  return handle;
}

void StandInHost::adoptHandle(PF_Handle handle) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto found = handles_.find(handle);
  if (found == handles_.end() || found->second->application) return;
  found->second->application = true;
  dropPluginBytes(found->second->size);
}

void* StandInHost::lockHandle(PF_Handle handle) {
  std::lock_guard<std::mutex> guard(mutex_);
  if (faults.refuseLock) return nullptr;
  auto found = handles_.find(handle);
  if (found == handles_.end()) return nullptr;
  ++found->second->locks;
  return found->second->data;
}

void StandInHost::unlockHandle(PF_Handle handle) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto found = handles_.find(handle);
  if (found != handles_.end() && found->second->locks > 0) --found->second->locks;
}

void StandInHost::disposeHandle(PF_Handle handle) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto found = handles_.find(handle);
  if (found == handles_.end()) {
    std::fputs("stand-in host: host_dispose_handle of a handle it does not know\n", stderr);
    std::abort();
  }
  if (!found->second->application) dropPluginBytes(found->second->size);
  std::free(found->second->data);
  delete found->second;
  handles_.erase(found);
}

A_HandleSize StandInHost::handleSize(PF_Handle handle) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto found = handles_.find(handle);
  return found == handles_.end() ? 0 : found->second->size;
}

PF_Err StandInHost::resizeHandle(A_HandleSize bytes, PF_Handle* handle) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto found = handles_.find(*handle);
  if (found == handles_.end()) return PF_Err_BAD_CALLBACK_PARAM;
  void* grown = std::realloc(found->second->data, bytes ? bytes : 1);
  if (!grown) return PF_Err_OUT_OF_MEMORY;
  found->second->data = grown;
  if (!found->second->application) {
    dropPluginBytes(found->second->size);
    holdPluginBytes(bytes);
  }
  found->second->size = bytes;
  return PF_Err_NONE;
}

void StandInHost::holdPluginBytes(std::size_t bytes) {
  pluginBytes_ += bytes;
  if (pluginBytes_ > peakPluginBytes_) peakPluginBytes_ = pluginBytes_;
}

void StandInHost::dropPluginBytes(std::size_t bytes) { pluginBytes_ -= bytes; }

std::size_t StandInHost::pluginBytes() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return pluginBytes_;
}

std::size_t StandInHost::peakPluginBytes() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return peakPluginBytes_;
}

void StandInHost::resetPeakPluginBytes() {
  std::lock_guard<std::mutex> guard(mutex_);
  peakPluginBytes_ = pluginBytes_;
}

std::size_t StandInHost::liveHandles() const {
  std::lock_guard<std::mutex> guard(mutex_);
  std::size_t count = 0;
  for (const auto& entry : handles_) count += !entry.second->application;
  return count;
}

// ---- copy and fill ---------------------------------------------------------

namespace {

PF_Rect wholeWorld(const PF_EffectWorld& world) { return {0, 0, world.width, world.height}; }

bool inside(const PF_Rect& rect, const PF_EffectWorld& world) {
  return rect.left >= 0 && rect.top >= 0 && rect.right <= world.width && rect.bottom <= world.height &&
         rect.left <= rect.right && rect.top <= rect.bottom;
}

unsigned char* rowOf(const PF_EffectWorld& world, A_long y) {
  return reinterpret_cast<unsigned char*>(world.data) + std::ptrdiff_t(y) * world.rowbytes;
}

}  // namespace

PF_Err StandInHost::copy(PF_EffectWorld* source, PF_EffectWorld* target, PF_Rect* sourceRect, PF_Rect* targetRect) {
  if (faults.copyError) return faults.copyError;
  const PixelFormatCode sourceFormat = formatOf(*source), targetFormat = formatOf(*target);
  // The application would scale and convert; the plug-in never asks it to,
  // so the stand-in refuses rather than guess.
  if (!sourceFormat || sourceFormat != targetFormat) return PF_Err_BAD_CALLBACK_PARAM;
  const PF_Rect from = sourceRect ? *sourceRect : wholeWorld(*source);
  PF_Rect to = targetRect ? *targetRect : PF_Rect{0, 0, from.right - from.left, from.bottom - from.top};
  if (!inside(from, *source) || !inside(to, *target) || to.right - to.left != from.right - from.left ||
      to.bottom - to.top != from.bottom - from.top)
    return PF_Err_BAD_CALLBACK_PARAM;
  const std::size_t pixelBytes = std::size_t(OZ::Image::bytesPerPixel(OZ::Image::formatDepth(sourceFormat)));
  for (A_long y = 0; y < from.bottom - from.top; ++y)
    std::memmove(rowOf(*target, to.top + y) + std::size_t(to.left) * pixelBytes,
                 rowOf(*source, from.top + y) + std::size_t(from.left) * pixelBytes,
                 std::size_t(from.right - from.left) * pixelBytes);
  return PF_Err_NONE;
}

PF_Err StandInHost::fill(const PF_Pixel* color, const PF_Rect* rect, PF_EffectWorld* world) {
  if (faults.fillError) return faults.fillError;
  const PixelFormatCode format = formatOf(*world);
  OZ::Image::ChannelPositions positions;
  if (!format || !OZ::Image::formatPositions(format, positions)) return PF_Err_BAD_CALLBACK_PARAM;
  const PF_Rect area = rect ? *rect : wholeWorld(*world);
  if (!inside(area, *world)) return PF_Err_BAD_CALLBACK_PARAM;
  // An 8-bit colour, widened to the world's depth.
  const PF_Pixel black{0, 0, 0, 0};
  const PF_Pixel& c = color ? *color : black;
  const A_u_char channels[4] = {c.red, c.green, c.blue, c.alpha};
  const int depth = OZ::Image::formatDepth(format);
  unsigned char pixel[16];
  for (int channel = 0; channel < 4; ++channel) {
    const int at = positions[channel];
    if (depth == 8) pixel[at] = channels[channel];
    if (depth == 16) {
      const std::uint16_t value = std::uint16_t(channels[channel] * 32768u / 255u);
      std::memcpy(pixel + 2 * at, &value, 2);
    }
    if (depth == 32) {
      const float value = channels[channel] / 255.0f;
      std::memcpy(pixel + 4 * at, &value, 4);
    }
  }
  const std::size_t pixelBytes = std::size_t(OZ::Image::bytesPerPixel(depth));
  for (A_long y = area.top; y < area.bottom; ++y)
    for (A_long x = area.left; x < area.right; ++x)
      std::memcpy(rowOf(*world, y) + std::size_t(x) * pixelBytes, pixel, pixelBytes);
  return PF_Err_NONE;
}

// ---- interaction -----------------------------------------------------------

void StandInHost::reportViolation(const std::string& what) {
  std::lock_guard<std::mutex> guard(mutex_);
  violations_.push_back(what);
}

std::vector<std::string> StandInHost::violations() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return violations_;
}

void StandInHost::noteInteraction(const char* callback) {
  const A_long thread = Pool::currentThreadIndex();
  if (thread > 0) reportViolation(std::string(callback) + " called from thread index " + std::to_string(thread));
}

void StandInHost::countSuiteFunction(const char* function) {
  std::lock_guard<std::mutex> guard(mutex_);
  ++suiteFunctionCalls_[function];
}

int StandInHost::suiteFunctionCalls(const std::string& function) const {
  std::lock_guard<std::mutex> guard(mutex_);
  auto found = suiteFunctionCalls_.find(function);
  return found == suiteFunctionCalls_.end() ? 0 : found->second;
}

void StandInHost::recordUiUpdate(PF_ParamIndex index, const PF_ParamDef& def) {
  std::lock_guard<std::mutex> guard(mutex_);
  uiUpdates_.emplace_back(index, def);
}

std::vector<std::pair<PF_ParamIndex, PF_ParamDef>> StandInHost::uiUpdates() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return uiUpdates_;
}

EffectInstance& StandInHost::instance() {
  if (!instance_) {
    std::fputs("stand-in host: a parameter or layer callback came with no effect instance\n", stderr);
    std::abort();
  }
  return *instance_;
}

PF_Err StandInHost::abortCheck() {
  noteInteraction("abort");
  const int call = ++abortCalls_;
  if (stopRequested && stopRequested()) return PF_Interrupt_CANCEL;
  return faults.abortOnCall && call >= faults.abortOnCall ? PF_Interrupt_CANCEL : PF_Err_NONE;
}

PF_Err StandInHost::progress(A_long current, A_long total) {
  noteInteraction("progress");
  std::lock_guard<std::mutex> guard(mutex_);
  progressTrace_.emplace_back(current, total);
  ++progressCalls_;
  if (stopRequested && stopRequested()) return PF_Interrupt_CANCEL;
  return faults.abortOnProgress && progressCalls_ >= faults.abortOnProgress ? PF_Interrupt_CANCEL : PF_Err_NONE;
}

std::vector<std::pair<A_long, A_long>> StandInHost::progressTrace() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return progressTrace_;
}

PF_Err StandInHost::iterate(A_long iterations, void* refcon, PF_Err (*function)(void*, A_long, A_long, A_long)) {
  if (iterations == PF_Iterations_ONCE_PER_PROCESSOR) iterations = settings_.iterations > 0 ? settings_.iterations : Pool::processors();
  if (iterations <= 0) return PF_Err_BAD_CALLBACK_PARAM;
  return pool_->run(iterations, refcon, function);
}

}  // namespace StandIn
