#include "standin/standin_callbacks.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "standin/effect_instance.h"

namespace StandIn {

StandInHost& hostOfEffect(PF_ProgPtr effectRef) {
  // The effect reference is the stand-in itself; refuse any other.
  StandInHost* host = StandInHost::current();
  if (reinterpret_cast<StandInHost*>(effectRef) != host) {
    std::fputs("stand-in host: a callback came with a foreign effect_ref\n", stderr);
    std::abort();
  }
  return *host;
}

namespace {

StandInHost& hostOf(PF_ProgPtr effectRef) { return hostOfEffect(effectRef); }

PF_Err newWorld(PF_ProgPtr effectRef, A_long width, A_long height, PF_NewWorldFlags flags, PF_EffectWorld* world) {
  // The classic callback knows two formats: 8 bits, or 16 with the deep flag.
  const auto format = OZ::Image::formatCode(flags & PF_NewWorldFlag_DEEP_PIXELS ? "ae16" : "argb");
  return hostOf(effectRef).allocateWorld(width, height, format, flags & PF_NewWorldFlag_CLEAR_PIXELS, world);
}

PF_Err disposeWorld(PF_ProgPtr effectRef, PF_EffectWorld* world) { return hostOf(effectRef).releaseWorld(world); }

PF_Err copyWorld(PF_ProgPtr effectRef, PF_EffectWorld* source, PF_EffectWorld* target, PF_Rect* sourceRect,
                 PF_Rect* targetRect) {
  return hostOf(effectRef).copy(source, target, sourceRect, targetRect);
}

PF_Err fillWorld(PF_ProgPtr effectRef, const PF_Pixel* color, const PF_Rect* rect, PF_EffectWorld* world) {
  return hostOf(effectRef).fill(color, rect, world);
}

PF_Handle newHandle(A_HandleSize bytes) { return StandInHost::current()->allocateHandle(bytes); }
void* lockHandle(PF_Handle handle) { return StandInHost::current()->lockHandle(handle); }
void unlockHandle(PF_Handle handle) { StandInHost::current()->unlockHandle(handle); }
void disposeHandle(PF_Handle handle) { StandInHost::current()->disposeHandle(handle); }
A_HandleSize handleSize(PF_Handle handle) { return StandInHost::current()->handleSize(handle); }
PF_Err resizeHandle(A_HandleSize bytes, PF_Handle* handle) { return StandInHost::current()->resizeHandle(bytes, handle); }

PF_Err iterateGeneric(A_long iterations, void* refcon, PF_Err (*function)(void*, A_long, A_long, A_long)) {
  return StandInHost::current()->iterate(iterations, refcon, function);
}

A_char* ansiStrcpy(A_char* target, const A_char* source) { return std::strcpy(target, source); }

PF_Err abortCallback(PF_ProgPtr effectRef) { return hostOf(effectRef).abortCheck(); }

[[noreturn]] void notImplemented(const char* callback) {
  std::fprintf(stderr, "stand-in host: %s is not implemented\n", callback);
  std::abort();
}
PF_Err registerUi(PF_ProgPtr, PF_CustomUIInfo*) { notImplemented("register_ui"); }
PF_Err checkoutLayerAudio(PF_ProgPtr, PF_ParamIndex, A_long, A_long, A_u_long, PF_UFixed, A_long, A_long, A_long,
                          PF_LayerAudio*) {
  notImplemented("checkout_layer_audio");
}
PF_Err checkinLayerAudio(PF_ProgPtr, PF_LayerAudio) { notImplemented("checkin_layer_audio"); }
PF_Err getAudioData(PF_ProgPtr, PF_LayerAudio, PF_SndSamplePtr*, A_long*, PF_UFixed*, A_long*, A_long*, A_long*) {
  notImplemented("get_audio_data");
}

PF_Err checkoutParam(PF_ProgPtr effectRef, PF_ParamIndex index, A_long time, A_long, A_u_long, PF_ParamDef* param) {
  StandInHost& host = hostOf(effectRef);
  host.noteInteraction("checkout_param");
  return host.instance().params.checkout(index, time, param);
}

PF_Err checkinParam(PF_ProgPtr effectRef, PF_ParamDef* param) {
  StandInHost& host = hostOf(effectRef);
  host.noteInteraction("checkin_param");
  return host.instance().params.checkin(param);
}

PF_Err addParam(PF_ProgPtr effectRef, PF_ParamIndex index, PF_ParamDefPtr def) {
  StandInHost& host = hostOf(effectRef);
  host.noteInteraction("add_param");
  return host.instance().addParam(index, *def);
}
PF_Err progressCallback(PF_ProgPtr effectRef, A_long current, A_long total) {
  return hostOf(effectRef).progress(current, total);
}

}  // namespace

void installUtilityCallbacks(PF_UtilCallbacks& utils, const Settings& settings) {
  utils = PF_UtilCallbacks{};
  utils.new_world = newWorld;
  utils.dispose_world = disposeWorld;
  utils.copy = copyWorld;
  utils.fill = fillWorld;
  if (settings.handleCallbacks) {
    utils.host_new_handle = newHandle;
    utils.host_lock_handle = lockHandle;
    utils.host_unlock_handle = unlockHandle;
    utils.host_dispose_handle = disposeHandle;
    utils.host_get_handle_size = handleSize;
  }
  utils.host_resize_handle = resizeHandle;
  utils.iterate_generic = settings.iterateGeneric ? iterateGeneric : nullptr;
  utils.ansi.strcpy = ansiStrcpy;
}

void installInteractCallbacks(PF_InteractCallbacks& inter) {
  inter = PF_InteractCallbacks{};
  inter.checkout_param = checkoutParam;
  inter.checkin_param = checkinParam;
  inter.add_param = addParam;
  inter.abort = abortCallback;
  inter.progress = progressCallback;
  inter.register_ui = registerUi;
  inter.checkout_layer_audio = checkoutLayerAudio;
  inter.checkin_layer_audio = checkinLayerAudio;
  inter.get_audio_data = getAudioData;
}

}  // namespace StandIn
