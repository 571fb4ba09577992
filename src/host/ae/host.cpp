#include "host/ae/host.h"

#include <new>

#include "host/ae/parameters.h"
#include "image/exception.h"
#include "platform/system_handle.h"

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

void Host::expandLayers(Store&, const LayerList& wanted, std::vector<LayerCheckout>& checkouts) {
  for (const LayerRequest& request : wanted) checkouts.push_back({request.layer, request.region, 0});
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

// The 64-bit build relies on the host's handle callbacks. The 32-bit build
// tests each before use and falls back to the system's own handles, as old
// hosts of that architecture may leave them out.
#if defined(__LP64__) || defined(_WIN64)
constexpr bool kHandleFallback = false;
#else
constexpr bool kHandleFallback = true;
#endif

Host::Handle Host::newHandle(std::uint64_t bytes) {
  if (kHandleFallback && !inData->utils->host_new_handle) return Platform::newSystemHandle(bytes);
  return inData->utils->host_new_handle(A_HandleSize(bytes));
}

void* Host::lockHandle(Handle handle) {
  if (kHandleFallback && !inData->utils->host_lock_handle) return Platform::lockSystemHandle(handle);
  return inData->utils->host_lock_handle(handle);
}

void Host::unlockHandle(Handle handle) {
  if (kHandleFallback && !inData->utils->host_unlock_handle) return Platform::unlockSystemHandle(handle);
  inData->utils->host_unlock_handle(handle);
}

void Host::disposeHandle(Handle handle) {
  if (kHandleFallback && !inData->utils->host_dispose_handle) return Platform::disposeSystemHandle(handle);
  inData->utils->host_dispose_handle(handle);
}

std::uint64_t Host::handleSize(Handle handle) {
  if (kHandleFallback && !inData->utils->host_get_handle_size) return Platform::systemHandleSize(handle);
  return inData->utils->host_get_handle_size(handle);
}

PF_Err Host::resizeHandle(std::uint64_t bytes, Handle& handle) {
  return inData->utils->host_resize_handle(A_HandleSize(bytes), &handle);
}

void Host::copyName(char* field, const std::string& name) {
  // The field holds 31 characters and a zero; a longer name is cut rather
  // than let run into the fields behind it.
  char bounded[PF_MAX_EFFECT_PARAM_NAME_LEN + 1] = {};
  name.copy(bounded, PF_MAX_EFFECT_PARAM_NAME_LEN);
  inData->utils->ansi.strcpy(field, bounded);
}

// ---- global setup ------------------------------------------------------------

namespace {

// Version 1, subversion 0, bug fix 0, stage release, build 0.
constexpr A_u_long kPluginVersion = 0x80600;

}  // namespace

void Host::globalSetup() {
  outData->my_version = kPluginVersion;
  outData->out_flags = PF_OutFlag_USE_OUTPUT_EXTENT | PF_OutFlag_I_SHRINK_BUFFER;
  if (wantsUiUpdates()) outData->out_flags |= PF_OutFlag_SEND_UPDATE_PARAMS_UI;
  if (isDeepAware()) outData->out_flags |= PF_OutFlag_DEEP_COLOR_AWARE;
  outData->out_flags2 = PF_OutFlag2_PARAM_GROUP_START_COLLAPSED_FLAG | PF_OutFlag2_SUPPORTS_SMART_RENDER;
  if (isDeepAware()) outData->out_flags2 |= PF_OutFlag2_FLOAT_COLOR_AWARE;

  using OZ::Image::formatCode;
  const bool deepRgb = isDeepAware() && !skipDeepRgbFormats();
  registerPixelFormat(PF_PixelFormat(formatCode("bgra")));
  if (deepRgb) {
    registerPixelFormat(PF_PixelFormat(formatCode("Bgra")));
    registerPixelFormat(PF_PixelFormat(formatCode("Argb")));
    registerPixelFormat(PF_PixelFormat(formatCode("BGra")));
    registerPixelFormat(PF_PixelFormat(formatCode("ARgb")));
  }
  if (supportsYuvFormats()) {
    registerPixelFormat(PF_PixelFormat(formatCode("vuya")));
    if (isDeepAware()) {
      registerPixelFormat(PF_PixelFormat(formatCode("Vuya")));
      registerPixelFormat(PF_PixelFormat(formatCode("VUya")));
    }
  }
}

// Each registration acquires the suite afresh, the newer version first, and
// gives it back at the version it got. A host with neither simply gets no
// formats: that is no error.
void Host::registerPixelFormat(PF_PixelFormat format) {
  const SPBasicSuite* basic = inData->pica_basicP;
  if (!basic) return;
  const void* suite = nullptr;
  if (basic->AcquireSuite(kPFPixelFormatSuite, kPFPixelFormatSuiteVersion2, &suite) == kSPNoError && suite) {
    static_cast<const PF_PixelFormatSuite2*>(suite)->PF_AddSupportedPixelFormat(inData->effect_ref, format);
    basic->ReleaseSuite(kPFPixelFormatSuite, kPFPixelFormatSuiteVersion2);
    return;
  }
  suite = nullptr;
  if (basic->AcquireSuite(kPFPixelFormatSuite, kPFPixelFormatSuiteVersion1, &suite) == kSPNoError && suite) {
    static_cast<const PF_PixelFormatSuite1*>(suite)->AddSupportedPixelFormat(inData->effect_ref,
                                                                             PrPixelFormat(format));
    basic->ReleaseSuite(kPFPixelFormatSuite, kPFPixelFormatSuiteVersion1);
  }
}

}  // namespace OZ::Host::AE
