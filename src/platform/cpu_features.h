#pragma once
// The processor's capabilities, asked by the names of the macOS
// "hw.optional.*" keys. On macOS the system answers. Elsewhere a
// sysctlbyname that the process itself offers answers (a host that stands
// in for macOS, such as the command-line tool, holds a run to a lower level
// so); without one the answers come from the cpuid instruction, with the
// operating system's support for the AVX register state checked where the
// key needs it.

#include <cstdint>

namespace Platform {

// 0 and the value (1 or 0) for a known key; -1 for a key this system
// cannot answer, which counts as absent.
int queryCapability(const char* key, std::int32_t& value);

#if !defined(__APPLE__)
// The cpuid answer alone, whatever the process offers.
int queryProcessorCapability(const char* key, std::int32_t& value);
#endif

}  // namespace Platform
