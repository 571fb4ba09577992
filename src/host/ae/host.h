#pragma once
// The adapter between the host's command interface and the effect. One is
// built on the stack for every call of the plug-in's entry point, holds what
// the host passed in and the suites it acquired, and is gone before the call
// returns: nothing of the plug-in lives between two calls.

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "host/ae/ae_interface.h"
#include "image/image_buffer.h"
#include "image/rect.h"

namespace OZ::Host::Param {
class Parameters;
struct ParamRecord;
}

namespace OZ::Host::AE {

using OZ::Image::Rect;

// One wanted extra layer: 0 is the effect's input, n the n-th layer control
// (counted from 1).
struct LayerRequest {
  std::uint64_t layer;
  Rect region;
};

// A wanted layer at a time: frames from the current one.
struct LayerCheckout {
  std::uint64_t layer;
  Rect region;
  std::int32_t frameOffset;
};

struct LayerSet;

// Nested progress scaling: a kernel's row count is mapped through each level
// in turn (level 0 a node's rows, level 1 the finished nodes).
struct ProgressLevel {
  std::uint64_t current = 0;
  std::uint64_t total = 0;
  std::uint64_t share = 0;
  std::uint8_t fixed = 0;
};

class Host {
 public:
  using World = PF_EffectWorld;
  using Handle = PF_Handle;
  using Image = OZ::Image::ImageBuffer<Host>;
  using Store = OZ::Host::Param::Parameters;
  using LayerList = std::vector<LayerRequest>;

  // A failed host call: the host's own code, handed back to it as it stands.
  class Error {
   public:
    explicit Error(PF_Err code) : code(code) {}
    PF_Err code;
  };

  Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // Stores what the host passed and acquires the suites; a missing suite is
  // no error here.
  void attach(PF_InData* inData, PF_OutData* outData, PF_ParamDef** params, PF_LayerDef* output, void* extra);

  // The operations a command turns into, and those the effect may replace,
  // in their table order. The ones returning PF_Err give the host's result.
  virtual void about() {}
  // False leaves the record out of the host's parameter list.
  virtual bool wantsParam(const OZ::Host::Param::ParamRecord&) { return true; }
  // True gives the control a custom area of that size.
  virtual bool customUiSize(const OZ::Host::Param::ParamRecord&, std::int32_t& /*width*/, std::int32_t& /*height*/) {
    return false;
  }
  virtual PF_Err paramsSetup();
  virtual PF_Err smartPreRender();
  // Both render commands: a smart render when `extra` is set, else classic.
  virtual PF_Err render();
  virtual PF_Err userChangedParam();
  virtual PF_Err updateParamsUI();
  virtual PF_Err arbitraryCallback();
  virtual ~Host();
  virtual Store* makeParameters();
  virtual Store* copyParameters(const Store& store);
  virtual void defineParameters(Store& store) = 0;
  virtual void prepareFrame(Store&, const Rect& /*outputBounds*/) {}
  virtual void prepareFrameBounds(Store&, const Rect& /*outputBounds*/) {}
  virtual void finishPreRender(Store&, const Rect& /*request*/) {}
  virtual void renderFrame(Store& store, Image& input, Image& output, Image& spare, Image** extraLayers) = 0;
  virtual void renderWithBounds(Store& store, Image& input, Image& output, Image& spare, Image** extraLayers);
  // Checks out every layer of the set, then renderWithBounds.
  virtual void renderWithLayers(Store& store, Image& input, Image& output, Image& spare, Image** extraLayers,
                                LayerSet& layers);
  virtual void reservedHook() {}
  virtual Rect resultRect(Store&, const Rect& rect, const Rect& /*limit*/, LayerList&) { return rect; }
  virtual Rect inputRect(Store&, const Rect& rect, const Rect& /*limit*/, LayerList&) { return rect; }
  virtual Rect identityRect(Store&, const Rect& rect) { return rect; }
  // Each wanted layer at the current time.
  virtual void expandLayers(Store&, const LayerList& wanted, std::vector<LayerCheckout>& checkouts);
  virtual bool isDeepAware() { return true; }
  virtual bool skipDeepRgbFormats() { return false; }
  virtual bool supportsYuvFormats() { return false; }
  virtual bool reservedTrue() { return true; }
  virtual bool reservedFalse() { return false; }
  virtual bool acceptsMixedFormats() { return false; }
  virtual bool usesInputRect() { return true; }
  virtual void maxTileSize(Store&, std::int32_t& /*width*/, std::int32_t& /*height*/) {}
  virtual bool wantsUiUpdates() { return false; }
  // recordIndex -1: any or all of them.
  virtual void paramsChanged(Store&, std::int32_t /*recordIndex*/) {}

  // PF_Cmd_GLOBAL_SETUP: version, out flags and the pixel formats.
  void globalSetup();
  // The host parameter index of layer number `layer`; std::invalid_argument
  // "Invalid layer" when no record is that layer.
  PF_ParamIndex findLayerIndex(const Store& store, std::uint64_t layer) const;
  // Checks out one entry of the set and fills its image; Error with the
  // host's code when the host refuses.
  void checkoutLayer(LayerSet& layers, Store& store, std::size_t position);

  // Workers: band i of n with the iteration's thread index; only thread
  // index 0 may call the host.
  using ThreadFunction = void (*)(std::uint64_t bandIndex, std::uint64_t bandCount, std::uint64_t threadIndex,
                                  void* data);
  void runThreads(ThreadFunction function, void* data, std::uint64_t count);
  // A marker of 0 is the thread that may call the host; any other only
  // looks at the latched abort code.
  void checkAbort(std::uint64_t marker);
  void reportProgress(std::uint64_t marker, std::int64_t current, std::int64_t total);

  std::int32_t currentFrame() const;
  void getDownsample(float& x, float& y) const;

  // What the image records ask of the host.
  std::int32_t applicationId() const { return inData->appl_id; }
  const World* referenceWorld() const { return output; }
  bool hasWorldService() const { return worldSuite != nullptr; }
  int serviceNewWorld(std::int32_t width, std::int32_t height, OZ::Image::PixelFormatCode format, World& world);
  int serviceDisposeWorld(World& world);
  int serviceWorldFormat(const World& world, OZ::Image::PixelFormatCode& format);
  bool hasPixelFormatService() const { return pixelFormatSuite != nullptr; }
  int pixelFormatOf(const World& world, OZ::Image::PixelFormatCode& format);
  int newWorld(std::int32_t width, std::int32_t height, std::int32_t flags, World& world);
  int disposeWorld(World& world);
  int copyWorld(const World& source, World& target, const Rect* sourceRect, const Rect* targetRect);
  int fillWorld(const Rect* rect, World& world);
  Handle newHandle(std::uint64_t bytes);
  void* lockHandle(Handle handle);
  void unlockHandle(Handle handle);
  void disposeHandle(Handle handle);
  std::uint64_t handleSize(Handle handle);
  // 0 or the host's code; the handle may move.
  PF_Err resizeHandle(std::uint64_t bytes, Handle& handle);
  // A name into a definition's 32-byte field, through the host's copy.
  void copyName(char* field, const std::string& name);

  PF_InData* inData = nullptr;
  PF_OutData* outData = nullptr;
  PF_ParamDef** params = nullptr;
  PF_LayerDef* output = nullptr;
  void* extra = nullptr;
  const PF_ColorParamSuite1* colorParamSuite = nullptr;
  const PF_AngleParamSuite1* angleParamSuite = nullptr;
  const PF_ParamUtilsSuite1* paramUtilsSuite = nullptr;  // version 2 is the first layout
  const PF_WorldSuite2* worldSuite = nullptr;
  const PF_PixelFormatSuite1* pixelFormatSuite = nullptr;
  const void* aegpRenderSuite = nullptr;
  const void* layerRenderOptionsSuite = nullptr;
  const void* utilitySuite = nullptr;
  const void* opaqueEffectDataSuite = nullptr;
  const std::uint32_t* paramIds = nullptr;  // one id per record; null: ids count up from 1
  std::uint64_t threadCount = 0;
  std::atomic<std::uint32_t> abortCode{0};  // read by workers without a lock
  ProgressLevel progressLevels[4];
  std::mutex lock;  // guards the host's handle calls made by image records
  std::uint8_t lockReady = 1;

 private:
  void attachSuites();
  void releaseSuites();
  void registerPixelFormat(PF_PixelFormat format);
  [[noreturn]] void throwForRunResult(PF_Err result);
};

}  // namespace OZ::Host::AE
