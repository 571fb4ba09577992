#include "standin/standin_callbacks.h"

#include <cstdio>
#include <cstring>

namespace StandIn {
namespace {

StandInHost& hostOf(PF_ProgPtr effectRef) {
  // The effect reference is the stand-in itself; refuse any other.
  StandInHost* host = StandInHost::current();
  if (reinterpret_cast<StandInHost*>(effectRef) != host) {
    std::fputs("stand-in host: a callback came with a foreign effect_ref\n", stderr);
    std::abort();
  }
  return *host;
}

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
  utils.host_new_handle = newHandle;
  utils.host_lock_handle = lockHandle;
  utils.host_unlock_handle = unlockHandle;
  utils.host_dispose_handle = disposeHandle;
  utils.host_get_handle_size = handleSize;
  utils.host_resize_handle = resizeHandle;
  utils.iterate_generic = settings.iterateGeneric ? iterateGeneric : nullptr;
  utils.ansi.strcpy = ansiStrcpy;
}

void installInteractCallbacks(PF_InteractCallbacks& inter) {
  inter = PF_InteractCallbacks{};
  inter.abort = abortCallback;
  inter.progress = progressCallback;
}

}  // namespace StandIn
