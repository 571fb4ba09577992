// The stand-in's suite broker and the suites it implements.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "standin/effect_instance.h"
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

// ---- parameter suites ------------------------------------------------------------
// Full precision is what these suites are for; the stand-in keeps no more
// than the definition holds, so it answers from that.

PF_Err floatColor(PF_ProgPtr effectRef, const PF_ParamDef* def, PF_PixelFloat* color) {
  StandInHost& host = hostOfEffect(effectRef);
  host.countSuiteFunction("PF_GetFloatingPointColorFromColorDef");
  const PF_Pixel& bytes = def->u.cd.value;
  *color = {bytes.alpha / 255.0f, bytes.red / 255.0f, bytes.green / 255.0f, bytes.blue / 255.0f};
  return PF_Err_NONE;
}
const PF_ColorParamSuite1 kColorParamSuite{floatColor};

PF_Err floatAngle(PF_ProgPtr effectRef, const PF_ParamDef* def, A_FpLong* degrees) {
  StandInHost& host = hostOfEffect(effectRef);
  host.countSuiteFunction("PF_GetFloatingPointValueFromAngleDef");
  *degrees = def->u.ad.value / 65536.0;
  return PF_Err_NONE;
}
const PF_AngleParamSuite1 kAngleParamSuite{floatAngle};

// The control's looks change; a popup also shows the choice sent.
PF_Err updateParamUi(PF_ProgPtr effectRef, PF_ParamIndex index, const PF_ParamDef* def) {
  StandInHost& host = hostOfEffect(effectRef);
  host.noteInteraction("PF_UpdateParamUI");
  host.countSuiteFunction("PF_UpdateParamUI");
  host.recordUiUpdate(index, *def);
  ParamList& params = host.instance().params;
  if (index <= 0 || std::size_t(index) >= params.count()) return PF_Err_INVALID_INDEX;
  PF_ParamDef& stored = params.at(index).definition;
  stored.ui_flags = def->ui_flags;
  if (stored.param_type == PF_Param_POPUP) stored.u.pd.value = def->u.pd.value;
  return PF_Err_NONE;
}

[[noreturn]] void paramUtilsEntry() { notImplemented("a function of \"PF Param Utils Suite\" other than PF_UpdateParamUI"); }
using Entry = void (*)();
const Entry kParamUtilsSuite[] = {reinterpret_cast<Entry>(updateParamUi), paramUtilsEntry, paramUtilsEntry,
                                  paramUtilsEntry, paramUtilsEntry, paramUtilsEntry, paramUtilsEntry,
                                  paramUtilsEntry, paramUtilsEntry, paramUtilsEntry};

// ---- suites handed out but not implemented here ---------------------------------
// The adapter acquires them and calls nothing in them; a call ends the
// process with the suite's name rather than pretending to work.

template <int Suite>
void unimplementedEntry() {
  static const char* const names[] = {"AEGP Render Suite", "AEGP Layer Render Options Suite", "PF Utility Suite",
                                      "Opaque Effect Data Suite", "a suite of Settings::moreSuites"};
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
    {"PF ColorParamSuite", 1, &Settings::colorParamSuite, &kColorParamSuite},
    {"PF AngleParamSuite", 1, &Settings::angleParamSuite, &kAngleParamSuite},
    {"PF Param Utils Suite", 2, &Settings::paramUtilsSuite, kParamUtilsSuite},
    {"PF World Suite", 2, &Settings::worldSuite, &kWorldSuite2},
    {"PF Pixel Format Suite", 1, &Settings::pixelFormatSuite1, &kPixelFormatSuite1},
    {"PF Pixel Format Suite", 2, &Settings::pixelFormatSuite2, &kPixelFormatSuite2},
    {"AEGP Render Suite", 5, &Settings::renderSuite, Unimplemented<0>::table},
    {"AEGP Layer Render Options Suite", 1, &Settings::layerRenderOptionsSuite, Unimplemented<1>::table},
    {"PF Utility Suite", 2, &Settings::utilitySuite, Unimplemented<2>::table},
    {"Opaque Effect Data Suite", 2, &Settings::opaqueEffectDataSuite, Unimplemented<3>::table},
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
  const void* table = nullptr;
  for (const OfferedSuite& offered : kOffered)
    if (std::strcmp(offered.name, name) == 0 && offered.version == version && settings_.*offered.offered)
      table = offered.table;
  for (const auto& more : settings_.moreSuites)
    if (more.first == name && more.second == version) table = Unimplemented<4>::table;
  *suite = table;
  if (!table) return kSuiteNotFound;
  std::lock_guard<std::mutex> guard(mutex_);
  ++heldSuites_[{name, version}];
  suiteCalls_.emplace_back(name, version);
  return kSPNoError;
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
