#include "host/ae/host.h"

#include <new>

#include "host/ae/parameters.h"
#include "image/exception.h"

namespace OZ::Host::AE {
namespace {

// The suites a Host holds for one call, in acquisition order. Release runs
// in the same order.
template <class Visit>
void forEachHeldSuite(Host& host, Visit&& visit) {
  visit("PF ColorParamSuite", 1, host.colorParamSuite);
  visit("PF AngleParamSuite", 1, host.angleParamSuite);
  visit("PF Param Utils Suite", 2, host.paramUtilsSuite);
  visit("PF World Suite", 2, host.worldSuite);
  visit("PF Pixel Format Suite", 1, host.pixelFormatSuite);
  visit("AEGP Render Suite", 5, host.aegpRenderSuite);
  visit("AEGP Layer Render Options Suite", 1, host.layerRenderOptionsSuite);
  visit("PF Utility Suite", 2, host.utilitySuite);
  visit("Opaque Effect Data Suite", 2, host.opaqueEffectDataSuite);
}

PF_Rect toHostRect(const Rect& rect) { return {rect.x0, rect.y0, rect.x1, rect.y1}; }

struct ThreadCall {
  Host::ThreadFunction function;
  void* data;
  Host* host;
};

// Called once per iteration; iteration 0 learns how many there are.
PF_Err countIterations(void* count, A_long /*threadIndex*/, A_long iteration, A_long iterations) {
  if (iteration == 0) *static_cast<A_long*>(count) = iterations;
  return PF_Err_NONE;
}

// No exception may leave a worker: each becomes a code for the host's runner.
PF_Err runWorker(void* refcon, A_long threadIndex, A_long iteration, A_long iterations) {
  const ThreadCall& call = *static_cast<const ThreadCall*>(refcon);
  try {
    call.function(std::uint64_t(iteration), std::uint64_t(iterations), std::uint64_t(threadIndex), call.data);
  } catch (const std::bad_alloc&) {
    return PF_Err_OUT_OF_MEMORY;
  } catch (const Host::Error& error) {
    return error.code;
  } catch (const OZ::Interrupted&) {
  } catch (...) {
    return PF_Err_INTERNAL_STRUCT_DAMAGED;
  }
  return threadIndex == 0 ? PF_Err(call.host->abortCode.load(std::memory_order_relaxed)) : PF_Err_NONE;
}

}  // namespace

Host::Host() = default;

Host::~Host() {
  try {
    releaseSuites();
  } catch (...) {
    // Tearing down must not throw; the mutex goes with the object either way.
  }
}

void Host::attach(PF_InData* in, PF_OutData* out, PF_ParamDef** parameters, PF_LayerDef* outputWorld,
                  void* extraRecord) {
  inData = in;
  outData = out;
  params = parameters;
  output = outputWorld;
  extra = extraRecord;
  attachSuites();
}

void Host::attachSuites() {
  if (!inData || !inData->pica_basicP) return;
  const SPBasicSuite* basic = inData->pica_basicP;
  forEachHeldSuite(*this, [basic](const char* name, std::int32_t version, auto& field) {
    const void* suite = nullptr;
    const bool acquired = basic->AcquireSuite(name, version, &suite) == 0;
    field = acquired ? static_cast<std::remove_reference_t<decltype(field)>>(suite) : nullptr;
  });
}

void Host::releaseSuites() {
  if (!inData || !inData->pica_basicP) return;
  const SPBasicSuite* basic = inData->pica_basicP;
  forEachHeldSuite(*this, [basic](const char* name, std::int32_t version, auto& field) {
    if (field) basic->ReleaseSuite(name, version);
  });
}

Host::Store* Host::makeParameters() { return new Parameters(this); }

Host::Store* Host::copyParameters(const Store& store) {
  Parameters* copy = new Parameters(this);
  copy->assign(store);
  return copy;
}

void Host::renderWithBounds(Store& store, Image& input, Image& outputImage, Image& spare, Image** extraLayers) {
  prepareFrame(store, outputImage.bounds);
  prepareFrameBounds(store, outputImage.bounds);
  renderFrame(store, input, outputImage, spare, extraLayers);
}

std::int32_t Host::currentFrame() const { return inData->current_time / inData->time_step; }

void Host::getDownsample(float& x, float& y) const {
  auto factor = [](const PF_RationalScale& scale) {
    return scale.num > 0 && scale.den != 0 ? float(scale.num) / float(scale.den) : 1.0f;
  };
  x = factor(inData->downsample_x);
  y = factor(inData->downsample_y);
}

// ---- workers ---------------------------------------------------------------

void Host::runThreads(ThreadFunction function, void* data, std::uint64_t count) {
  const bool usable = std::int16_t(inData->version.major) >= 12 && inData->utils && inData->utils->iterate_generic;
  A_long iterations = 1;
  A_long requested = 0;
  if (count != 0) {
    iterations = requested = A_long(count);
  } else if (threadCount != 0) {
    iterations = requested = A_long(threadCount);
  } else if (usable) {
    inData->utils->iterate_generic(PF_Iterations_ONCE_PER_PROCESSOR, &iterations, countIterations);
    requested = PF_Iterations_ONCE_PER_PROCESSOR;
  }
  if (iterations == 1 || !usable) {
    function(0, 1, 0, data);  // on this thread; exceptions pass straight through
    return;
  }
  ThreadCall call{function, data, this};
  const PF_Err result = inData->utils->iterate_generic(requested, &call, runWorker);
  if (result == PF_Err_NONE && abortCode.load() == 0) return;
  throwForRunResult(result);
}

void Host::throwForRunResult(PF_Err result) {
  if (result == PF_Err_NONE) throw OZ::Interrupted();
  if (result == PF_Interrupt_CANCEL) {
    abortCode = PF_Interrupt_CANCEL;
    throw OZ::Interrupted();
  }
  if (result == PF_Err_OUT_OF_MEMORY) throw std::bad_alloc();
  throw OZ::Exception("AEHost::thread", "An unknown error occurred in a thread.");
}

// ---- progress and abort ----------------------------------------------------

void Host::checkAbort(std::uint64_t marker) {
  if (abortCode.load(std::memory_order_relaxed) != 0) throw OZ::Interrupted();
  if (marker != 0) return;
  const PF_Err result = inData->inter.abort(inData->effect_ref);
  abortCode = std::uint32_t(result);
  if (result != PF_Err_NONE) throw OZ::Interrupted();
}

void Host::reportProgress(std::uint64_t marker, std::int64_t current, std::int64_t total) {
  if (abortCode.load(std::memory_order_relaxed) != 0) throw OZ::Interrupted();
  if (marker != 0) return;
  std::uint64_t mappedCurrent = std::uint64_t(current), mappedTotal = std::uint64_t(total);
  auto guardZeroTotal = [&] {
    if (mappedTotal == 0) {
      mappedCurrent = 0;
      mappedTotal = 1;
    }
  };
  guardZeroTotal();
  for (const ProgressLevel& level : progressLevels) {
    if (level.total >= 2) {
      if (level.current >= level.total) {
        mappedCurrent = mappedTotal = level.total * 1000;
      } else {
        mappedCurrent = level.share * mappedCurrent * 1000 / mappedTotal + level.current * 1000;
        mappedTotal = level.total * 1000;
      }
    }
    guardZeroTotal();
  }
  const PF_Err result = inData->inter.progress(inData->effect_ref, A_long(mappedCurrent), A_long(mappedTotal));
  abortCode = std::uint32_t(result);
  if (result != PF_Err_NONE) throw OZ::Interrupted();
}

// ---- memory and worlds for the image records -------------------------------

int Host::serviceNewWorld(std::int32_t width, std::int32_t height, OZ::Image::PixelFormatCode format, World& world) {
  return worldSuite->PF_NewWorld(inData->effect_ref, width, height, false, PF_PixelFormat(format), &world);
}

int Host::serviceDisposeWorld(World& world) { return worldSuite->PF_DisposeWorld(inData->effect_ref, &world); }

int Host::serviceWorldFormat(const World& world, OZ::Image::PixelFormatCode& format) {
  PF_PixelFormat code = 0;
  const PF_Err result = worldSuite->PF_GetPixelFormat(&world, &code);
  format = OZ::Image::PixelFormatCode(code);
  return result;
}

int Host::pixelFormatOf(const World& world, OZ::Image::PixelFormatCode& format) {
  PrPixelFormat code = 0;
  const PF_Err result = pixelFormatSuite->GetPixelFormat(const_cast<World*>(&world), &code);
  format = OZ::Image::PixelFormatCode(code);
  return result;
}

int Host::newWorld(std::int32_t width, std::int32_t height, std::int32_t flags, World& world) {
  return inData->utils->new_world(inData->effect_ref, width, height, PF_NewWorldFlags(flags), &world);
}

int Host::disposeWorld(World& world) { return inData->utils->dispose_world(inData->effect_ref, &world); }

int Host::copyWorld(const World& source, World& target, const Rect* sourceRect, const Rect* targetRect) {
  PF_Rect from = sourceRect ? toHostRect(*sourceRect) : PF_Rect{};
  PF_Rect to = targetRect ? toHostRect(*targetRect) : PF_Rect{};
  return inData->utils->copy(inData->effect_ref, const_cast<World*>(&source), &target, sourceRect ? &from : nullptr,
                             targetRect ? &to : nullptr);
}

int Host::fillWorld(const Rect* rect, World& world) {
  const PF_Pixel transparent{0, 0, 0, 0};
  PF_Rect area = rect ? toHostRect(*rect) : PF_Rect{};
  return inData->utils->fill(inData->effect_ref, &transparent, rect ? &area : nullptr, &world);
}

Host::Handle Host::newHandle(std::uint64_t bytes) { return inData->utils->host_new_handle(A_HandleSize(bytes)); }
void* Host::lockHandle(Handle handle) { return inData->utils->host_lock_handle(handle); }
void Host::disposeHandle(Handle handle) { inData->utils->host_dispose_handle(handle); }
std::uint64_t Host::handleSize(Handle handle) { return inData->utils->host_get_handle_size(handle); }

}  // namespace OZ::Host::AE
