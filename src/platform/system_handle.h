#pragma once
// Relocatable memory blocks of the operating system, for a 32-bit host that
// leaves a handle callback null. A handle points at its block's address, as
// the host's own handles do. On macOS these are the Memory Manager's; on
// other systems a small record on the C heap stands in for them.

#include <cstdint>

namespace Platform {

using SystemHandle = void**;

// Null when the system has no memory to give.
SystemHandle newSystemHandle(std::uint64_t bytes);
void* lockSystemHandle(SystemHandle handle);
void unlockSystemHandle(SystemHandle handle);
void disposeSystemHandle(SystemHandle handle);
std::uint64_t systemHandleSize(SystemHandle handle);

}  // namespace Platform
