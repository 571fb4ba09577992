#include "platform/cpu_features.h"

#include <cstring>

#if defined(__APPLE__)
#include <sys/sysctl.h>
#else
#include <cpuid.h>

#include <cstddef>

// No C library here has it; a program that defines it answers for the
// processor (weak: absent, the address is null).
extern "C" int sysctlbyname(const char* name, void* value, std::size_t* size, const void* newValue,
                            std::size_t newSize) __attribute__((weak));
#endif

namespace Platform {

#if defined(__APPLE__)

int queryCapability(const char* key, std::int32_t& value) {
  value = 0;
  std::size_t size = sizeof(value);
  return sysctlbyname(key, &value, &size, nullptr, 0);
}

#else

namespace {

struct CpuidBits {
  unsigned leaf1Ecx = 0, leaf1Edx = 0, leaf7Ebx = 0;
  bool avxState = false;  // the OS saves the YMM registers
};

CpuidBits readCpuid() {
  CpuidBits bits;
  unsigned eax, ebx, ecx, edx;
  if (__get_cpuid(1, &eax, &ebx, &ecx, &edx)) {
    bits.leaf1Ecx = ecx;
    bits.leaf1Edx = edx;
  }
  if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx)) bits.leaf7Ebx = ebx;
  const bool osxsave = bits.leaf1Ecx & (1u << 27);
  if (osxsave) {
    unsigned low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    bits.avxState = (low & 6) == 6;
  }
  return bits;
}

}  // namespace

int queryProcessorCapability(const char* key, std::int32_t& value) {
  // The processor does not change under us; cpuid is slow in a virtual
  // machine, so it is read once.
  static const CpuidBits cpu = readCpuid();
  struct Key {
    const char* name;
    bool present;
  };
  const Key keys[] = {
      {"hw.optional.mmx", bool(cpu.leaf1Edx & (1u << 23))},
      {"hw.optional.sse", bool(cpu.leaf1Edx & (1u << 25))},
      {"hw.optional.sse2", bool(cpu.leaf1Edx & (1u << 26))},
      {"hw.optional.sse3", bool(cpu.leaf1Ecx & (1u << 0))},
      {"hw.optional.supplementalsse3", bool(cpu.leaf1Ecx & (1u << 9))},
      {"hw.optional.sse4_1", bool(cpu.leaf1Ecx & (1u << 19))},
      {"hw.optional.sse4_2", bool(cpu.leaf1Ecx & (1u << 20))},
      {"hw.optional.aes", bool(cpu.leaf1Ecx & (1u << 25))},
      {"hw.optional.bmi1", bool(cpu.leaf7Ebx & (1u << 3))},
      {"hw.optional.f16c", cpu.avxState && (cpu.leaf1Ecx & (1u << 29))},
      {"hw.optional.avx1_0", cpu.avxState && (cpu.leaf1Ecx & (1u << 28))},
      {"hw.optional.avx2_0", cpu.avxState && (cpu.leaf7Ebx & (1u << 5))},
      {"hw.optional.fma", cpu.avxState && (cpu.leaf1Ecx & (1u << 12))},
  };
  for (const Key& entry : keys) {
    if (std::strcmp(entry.name, key) == 0) {
      value = entry.present ? 1 : 0;
      return 0;
    }
  }
  value = 0;
  return -1;
}

int queryCapability(const char* key, std::int32_t& value) {
  if (!sysctlbyname) return queryProcessorCapability(key, value);
  value = 0;
  std::size_t size = sizeof(value);
  return sysctlbyname(key, &value, &size, nullptr, 0);
}

#endif

}  // namespace Platform
