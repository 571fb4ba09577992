// The stand-in's suite broker and the suites it implements.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "standin/standin_callbacks.h"

namespace StandIn {
namespace {

constexpr SPErr kSuiteNotFound = 'S' << 24 | '!' << 16 | 'F' << 8 | 'd';

StandInHost& host() { return *StandInHost::current(); }

// ---- "PF World Suite" 2 -------------------------------------------------------

PF_Err worldNew(PF_ProgPtr, A_long width, A_long height, PF_Boolean clear, PF_PixelFormat format, PF_EffectWorld* world) {
  return host().allocateWorld(width, height, PixelFormatCode(format), clear, world);
}
PF_Err worldDispose(PF_ProgPtr, PF_EffectWorld* world) { return host().releaseWorld(world); }
PF_Err worldFormat(const PF_EffectWorld* world, PF_PixelFormat* format) {
  const PixelFormatCode code = host().formatOf(*world);
  *format = PF_PixelFormat(code);
  return code ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}
const PF_WorldSuite2 kWorldSuite2{worldNew, worldDispose, worldFormat};

// ---- "PF Pixel Format Suite" 1 and 2 ------------------------------------------

PF_Err addFormat(PF_ProgPtr, PrPixelFormat format) {
  host().registerFormat(PF_PixelFormat(format));
  return PF_Err_NONE;
}
PF_Err addFormat2(PF_ProgPtr, PF_PixelFormat format) {
  host().registerFormat(format);
  return PF_Err_NONE;
}
PF_Err clearFormats(PF_ProgPtr) {
  host().clearFormats();
  return PF_Err_NONE;
}
PF_Err newWorldOfFormat(PF_ProgPtr, A_u_long width, A_u_long height, PF_NewWorldFlags flags, PrPixelFormat format,
                        PF_EffectWorld* world) {
  return host().allocateWorld(A_long(width), A_long(height), PixelFormatCode(format), flags & PF_NewWorldFlag_CLEAR_PIXELS,
                              world);
}
PF_Err disposeWorldOfFormat(PF_ProgPtr, PF_EffectWorld* world) { return host().releaseWorld(world); }
PF_Err formatOfWorld(PF_EffectWorld* world, PrPixelFormat* format) {
  const PixelFormatCode code = host().formatOf(*world);
  *format = PrPixelFormat(code);
  return code ? PF_Err_NONE : PF_Err_BAD_CALLBACK_PARAM;
}
[[noreturn]] void notImplemented(const char* what) {
  std::fprintf(stderr, "stand-in host: %s is not implemented\n", what);
  std::abort();
}
PF_Err blackForFormat(PrPixelFormat, void*) { notImplemented("GetBlackForPixelFormat"); }
PF_Err whiteForFormat(PrPixelFormat, void*) { notImplemented("GetWhiteForPixelFormat"); }
PF_Err convertColor(PrPixelFormat, float, float, float, float, void*) {
  notImplemented("ConvertColorToPixelFormattedData");
}
const PF_PixelFormatSuite1 kPixelFormatSuite1{addFormat,      clearFormats,   newWorldOfFormat, disposeWorldOfFormat,
                                              formatOfWorld,  blackForFormat, whiteForFormat,   convertColor};
const PF_PixelFormatSuite2 kPixelFormatSuite2{addFormat2, clearFormats};

// ---- suites handed out but not implemented here ---------------------------------
// The adapter acquires them and calls nothing in them yet; a call ends the
// process with the suite's name rather than pretending to work.

using Entry = void (*)();
template <int Suite>
void unimplementedEntry() {
  static const char* const names[] = {"PF ColorParamSuite",     "PF AngleParamSuite",
                                      "PF Param Utils Suite",   "AEGP Render Suite",
                                      "AEGP Layer Render Options Suite", "PF Utility Suite",
                                      "Opaque Effect Data Suite"};
  notImplemented(names[Suite]);
}
template <int Suite>
struct Unimplemented {
  static constexpr Entry table[32] = {
      unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>,
      unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>,
      unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>,
      unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>,
      unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>,
      unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>,
      unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>,
      unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>, unimplementedEntry<Suite>};
};

struct OfferedSuite {
  const char* name;
  int32_t version;
  bool Settings::*offered;
  const void* table;
};

const OfferedSuite kOffered[] = {
    {"PF ColorParamSuite", 1, &Settings::colorParamSuite, Unimplemented<0>::table},
    {"PF AngleParamSuite", 1, &Settings::angleParamSuite, Unimplemented<1>::table},
    {"PF Param Utils Suite", 2, &Settings::paramUtilsSuite, Unimplemented<2>::table},
    {"PF World Suite", 2, &Settings::worldSuite, &kWorldSuite2},
    {"PF Pixel Format Suite", 1, &Settings::pixelFormatSuite1, &kPixelFormatSuite1},
    {"PF Pixel Format Suite", 2, &Settings::pixelFormatSuite2, &kPixelFormatSuite2},
    {"AEGP Render Suite", 5, &Settings::renderSuite, Unimplemented<3>::table},
    {"AEGP Layer Render Options Suite", 1, &Settings::layerRenderOptionsSuite, Unimplemented<4>::table},
    {"PF Utility Suite", 2, &Settings::utilitySuite, Unimplemented<5>::table},
    {"Opaque Effect Data Suite", 2, &Settings::opaqueEffectDataSuite, Unimplemented<6>::table},
};

SPErr acquire(const char* name, int32_t version, const void** suite) { return host().acquireSuite(name, version, suite); }
SPErr release(const char* name, int32_t version) { return host().releaseSuite(name, version); }
SPBoolean isEqual(const char* a, const char* b) { return std::strcmp(a, b) == 0; }
SPErr allocateBlock(size_t, void**) { notImplemented("SPBasicSuite AllocateBlock"); }
SPErr freeBlock(void*) { notImplemented("SPBasicSuite FreeBlock"); }
SPErr reallocateBlock(void*, size_t, void**) { notImplemented("SPBasicSuite ReallocateBlock"); }
SPErr undefined() { notImplemented("SPBasicSuite Undefined"); }

SPBasicSuite kBasicSuite{acquire, release, isEqual, allocateBlock, freeBlock, reallocateBlock, undefined};

}  // namespace

SPBasicSuite* basicSuite() { return &kBasicSuite; }

SPErr StandInHost::acquireSuite(const char* name, int32_t version, const void** suite) {
  for (const OfferedSuite& offered : kOffered) {
    if (std::strcmp(offered.name, name) != 0 || offered.version != version || !(settings_.*offered.offered)) continue;
    std::lock_guard<std::mutex> guard(mutex_);
    *suite = offered.table;
    ++heldSuites_[{name, version}];
    suiteCalls_.emplace_back(name, version);
    return kSPNoError;
  }
  *suite = nullptr;
  return kSuiteNotFound;
}

SPErr StandInHost::releaseSuite(const char* name, int32_t version) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto held = heldSuites_.find({name, version});
  if (held == heldSuites_.end() || held->second == 0) {
    std::fprintf(stderr, "stand-in host: release of \"%s\" %d, which is not held\n", name, int(version));
    std::abort();
  }
  if (--held->second == 0) heldSuites_.erase(held);
  suiteCalls_.emplace_back(name, -int(version));
  return kSPNoError;
}

std::size_t StandInHost::heldSuites() const {
  std::lock_guard<std::mutex> guard(mutex_);
  std::size_t count = 0;
  for (const auto& entry : heldSuites_) count += std::size_t(entry.second);
  return count;
}

std::vector<std::pair<std::string, int>> StandInHost::suiteCalls() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return suiteCalls_;
}

void StandInHost::registerFormat(PF_PixelFormat format) {
  std::lock_guard<std::mutex> guard(mutex_);
  formats_.push_back(format);
}

void StandInHost::clearFormats() {
  std::lock_guard<std::mutex> guard(mutex_);
  formats_.clear();
}

std::vector<PF_PixelFormat> StandInHost::registeredFormats() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return formats_;
}

}  // namespace StandIn
