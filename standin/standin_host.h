#pragma once
// The stand-in host: what the application gives a plug-in, in process, so
// that tests and the command-line tool can run the plug-in without the
// application. It follows the published behaviour of the callbacks and
// suites it offers, counts what the plug-in allocates so that tests can
// prove nothing leaks, and has switches for the faults a real host produces.
// A callback it does not implement fails loudly instead of pretending.
//
// The host's callbacks carry no pointer of their own (the handle callbacks,
// iterate_generic and the suite broker take none), so the stand-in that is
// alive answers them: one stand-in host at a time per process.

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "host/ae/ae_interface.h"
#include "image/pixel_format.h"

namespace StandIn {

using OZ::Image::PixelFormatCode;

// The application identifiers a stand-in can claim to be.
inline constexpr A_long kAfterEffectsId = 'F' << 24 | 'X' << 16 | 'T' << 8 | 'C';
inline constexpr A_long kPremiereId = 'P' << 24 | 'r' << 16 | 'M' << 8 | 'r';

struct Settings {
  A_long applicationId = kAfterEffectsId;
  A_short versionMajor = 13;  // below 12 the host has no threaded iteration
  A_short versionMinor = 28;
  bool basicSuite = true;  // false: pica_basicP is null
  // Each suite the broker hands out, present or absent.
  bool colorParamSuite = true;
  bool angleParamSuite = true;
  bool paramUtilsSuite = true;
  bool worldSuite = true;
  bool pixelFormatSuite1 = true;
  bool pixelFormatSuite2 = true;
  bool renderSuite = true;
  bool layerRenderOptionsSuite = true;
  bool utilitySuite = true;
  bool opaqueEffectDataSuite = true;
  bool iterateGeneric = true;  // false: utils->iterate_generic is null
  bool handleCallbacks = true;  // false: the five handle callbacks of utils are null
  // Iterations granted for PF_Iterations_ONCE_PER_PROCESSOR; 0: one per processor.
  int iterations = 0;
  // New worlds are filled with 0xA5, so that a filter that leaves pixels
  // unwritten shows it; benchmarks turn this off, as the application has
  // no such fill.
  bool poisonWorlds = true;
  // Further suites the broker hands out, by name and version; every call
  // into one ends the process with its name.
  std::vector<std::pair<std::string, int>> moreSuites;
};

struct Faults {
  int refuseWorld = 0;         // refuse the Nth world the plug-in asks for (1-based), 0: never
  int refuseHandle = 0;        // refuse the Nth handle
  bool refuseLock = false;     // every host_lock_handle fails
  PF_Err copyError = 0;        // copy fails with this code
  PF_Err fillError = 0;        // fill fails with this code
  int abortOnCall = 0;         // the abort callback answers 517 from its Nth call on
  int abortOnProgress = 0;     // the progress callback answers 517 from its Nth call on
  int refuseAddParam = 0;      // add_param refuses its Nth definition with addParamError
  PF_Err addParamError = PF_Err_INTERNAL_STRUCT_DAMAGED;
  int refuseLayerCheckout = 0;  // checkout_layer refuses its Nth call
  int refuseLayerPixels = 0;    // checkout_layer_pixels refuses its Nth call
  bool refuseOutput = false;    // checkout_output refuses
};

class EffectInstance;

class StandInHost {
 public:
  explicit StandInHost(const Settings& settings = {});
  ~StandInHost();
  StandInHost(const StandInHost&) = delete;
  StandInHost& operator=(const StandInHost&) = delete;

  // The one stand-in that answers callbacks now.
  static StandInHost* current();

  PF_InData* inData() { return &inData_; }
  PF_OutData* outData() { return &outData_; }
  const Settings& settings() const { return settings_; }
  Faults faults;
  // The user asked to stop (Ctrl-C in the tool): while it answers true, the
  // abort and progress callbacks answer 517, as the application's do when
  // its user cancels a render. Called from the thread that may call the host.
  std::function<bool()> stopRequested;

  // A world the application owns, as a layer or an output is: rows aligned
  // to 16 bytes, plus guard space after each row. negativeRows lays the rows
  // out bottom up in memory with a negative rowbytes.
  PF_EffectWorld* makeLayerWorld(std::int32_t width, std::int32_t height, PixelFormatCode format,
                                 std::int32_t originX = 0, std::int32_t originY = 0, bool negativeRows = false);
  void disposeLayerWorld(PF_EffectWorld* world);
  // The pixels of `rect` of a layer, as the application hands out what it
  // holds in its cache: a world over the layer's own rows, with the
  // region's corner as origin, not a copy. Disposed with disposeLayerView.
  PF_EffectWorld* makeLayerView(const PF_EffectWorld& layer, const PF_LRect& rect);
  void disposeLayerView(PF_EffectWorld* view);

  // What the plug-in holds of the host's memory right now. Handles the
  // application took over (default texts, parameter values) are not counted.
  std::size_t liveHandles() const;
  std::size_t liveWorlds() const;  // worlds the plug-in asked for
  // Bytes of the plug-in's own worlds and handles held now, and the most it
  // held at once since the last reset: what a render really cost in memory.
  std::size_t pluginBytes() const;
  std::size_t peakPluginBytes() const;
  void resetPeakPluginBytes();
  // Requests the plug-in made so far, refused or not: the Nth is what the
  // faults count.
  int worldRequests() const;
  int handleRequests() const;
  // Suites acquired and not yet released, by name and version.
  std::size_t heldSuites() const;
  std::vector<std::pair<std::string, int>> suiteCalls() const;  // acquire (+) and release (-) in order

  // Pixel formats the plug-in registered through the Pixel Format suites.
  std::vector<PF_PixelFormat> registeredFormats() const;

  // Every progress report: (current, total) as the host received them.
  std::vector<std::pair<A_long, A_long>> progressTrace() const;
  int abortCalls() const { return abortCalls_; }

  // Frame time for currentFrame(): current_time / time_step.
  void setTime(A_long currentTime, A_long timeStep, A_u_long timeScale = 1);

  // Everything the plug-in did that a host does not allow: a host call from
  // a worker other than thread index 0, a check-in of what was not checked
  // out, a callback outside the command it belongs to. Empty when it kept
  // every rule.
  std::vector<std::string> violations() const;
  void reportViolation(const std::string& what);
  // An interaction callback is being answered: only the thread that may
  // call the host may do that.
  void noteInteraction(const char* callback);

  // Calls into the suites the stand-in implements, by function name.
  int suiteFunctionCalls(const std::string& function) const;
  void countSuiteFunction(const char* function);
  // What PF_UpdateParamUI was sent: host index and definition, in order.
  std::vector<std::pair<PF_ParamIndex, PF_ParamDef>> uiUpdates() const;
  void recordUiUpdate(PF_ParamIndex index, const PF_ParamDef& def);

  // The effect instance the parameter and layer callbacks go to.
  void attachInstance(EffectInstance* instance) { instance_ = instance; }
  EffectInstance& instance();

  // The format the stand-in knows a world by, or 0.
  PixelFormatCode formatOf(const PF_EffectWorld& world) const;

  // Internals the C callbacks reach.
  struct WorldRecord;
  struct Pool;
  PF_Err allocateWorld(A_long width, A_long height, PixelFormatCode format, bool clear, PF_EffectWorld* world);
  PF_Err releaseWorld(PF_EffectWorld* world);
  PF_Handle allocateHandle(A_HandleSize bytes);
  // A handle of the application's own, never refused and not counted.
  PF_Handle applicationHandle(A_HandleSize bytes);
  // The plug-in handed this handle over: it is the application's now.
  void adoptHandle(PF_Handle handle);
  void* lockHandle(PF_Handle handle);
  void unlockHandle(PF_Handle handle);
  void disposeHandle(PF_Handle handle);
  A_HandleSize handleSize(PF_Handle handle);
  PF_Err resizeHandle(A_HandleSize bytes, PF_Handle* handle);
  PF_Err copy(PF_EffectWorld* source, PF_EffectWorld* target, PF_Rect* sourceRect, PF_Rect* targetRect);
  PF_Err fill(const PF_Pixel* color, const PF_Rect* rect, PF_EffectWorld* world);
  PF_Err iterate(A_long iterations, void* refcon, PF_Err (*function)(void*, A_long, A_long, A_long));
  PF_Err abortCheck();
  PF_Err progress(A_long current, A_long total);
  SPErr acquireSuite(const char* name, int32_t version, const void** suite);
  SPErr releaseSuite(const char* name, int32_t version);
  void registerFormat(PF_PixelFormat format);
  void clearFormats();

 private:
  Settings settings_;
  PF_InData inData_{};
  PF_OutData outData_{};
  PF_UtilCallbacks utils_{};
  mutable std::mutex mutex_;  // handles and worlds may be touched from worker threads
  std::map<PF_Handle, struct HandleRecord*> handles_;
  std::map<const void*, std::unique_ptr<WorldRecord>> worlds_;  // by data pointer
  std::multimap<const void*, PixelFormatCode> views_;          // layer views, by data pointer
  std::multimap<std::size_t, unsigned char*> spareBlocks_;      // freed plugin worlds, by size
  int worldRequests_ = 0, handleRequests_ = 0;
  std::size_t pluginWorlds_ = 0;
  std::size_t pluginBytes_ = 0, peakPluginBytes_ = 0;
  std::map<std::pair<std::string, int>, int> heldSuites_;
  std::vector<std::pair<std::string, int>> suiteCalls_;
  std::vector<PF_PixelFormat> formats_;
  std::vector<std::pair<A_long, A_long>> progressTrace_;
  std::atomic<int> abortCalls_{0};
  int progressCalls_ = 0;
  std::vector<std::string> violations_;
  std::map<std::string, int> suiteFunctionCalls_;
  std::vector<std::pair<PF_ParamIndex, PF_ParamDef>> uiUpdates_;
  EffectInstance* instance_ = nullptr;
  std::unique_ptr<Pool> pool_;
  void holdPluginBytes(std::size_t bytes);  // under mutex_
  void dropPluginBytes(std::size_t bytes);
  StandInHost* previous_;
};

}  // namespace StandIn
