#include "platform/system_handle.h"

#include <cstdlib>

#if defined(__APPLE__) && !defined(__LP64__)
#include <CoreServices/CoreServices.h>
#endif

namespace Platform {

#if defined(__APPLE__) && !defined(__LP64__)

SystemHandle newSystemHandle(std::uint64_t bytes) {
  return reinterpret_cast<SystemHandle>(NewHandle(Size(bytes)));
}
void* lockSystemHandle(SystemHandle handle) {
  HLock(reinterpret_cast<Handle>(handle));
  return MemError() == noErr ? *handle : nullptr;
}
void unlockSystemHandle(SystemHandle handle) { HUnlock(reinterpret_cast<Handle>(handle)); }
void disposeSystemHandle(SystemHandle handle) { DisposeHandle(reinterpret_cast<Handle>(handle)); }
std::uint64_t systemHandleSize(SystemHandle handle) {
  return std::uint64_t(GetHandleSize(reinterpret_cast<Handle>(handle)));
}

#else

namespace {
// The block's address comes first, so that the record's address is the handle.
struct Block {
  void* data;
  std::uint64_t size;
};
}  // namespace

SystemHandle newSystemHandle(std::uint64_t bytes) {
  if (bytes > SIZE_MAX) return nullptr;
  auto* block = static_cast<Block*>(std::malloc(sizeof(Block)));
  if (!block) return nullptr;
  block->data = std::malloc(bytes ? std::size_t(bytes) : 1);
  if (!block->data) {
    std::free(block);
    return nullptr;
  }
  block->size = bytes;
  return &block->data;
}
void* lockSystemHandle(SystemHandle handle) { return handle ? *handle : nullptr; }
void unlockSystemHandle(SystemHandle) {}
void disposeSystemHandle(SystemHandle handle) {
  if (!handle) return;
  auto* block = reinterpret_cast<Block*>(handle);
  std::free(block->data);
  std::free(block);
}
std::uint64_t systemHandleSize(SystemHandle handle) {
  return handle ? reinterpret_cast<Block*>(handle)->size : 0;
}

#endif

}  // namespace Platform
