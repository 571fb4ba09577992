#include "image/filters/processor_flags.h"

#include <atomic>

#include "platform/cpu_features.h"

namespace OZ::Image {
namespace {

std::atomic<ProcessorFlags> flagMask{~ProcessorFlags(0)};
std::atomic<KernelLevel> lastLevel{KernelLevel::Scalar};

bool present(CapabilityQuery query, const char* key) {
  std::int32_t value = 0;
  return query(key, value) == 0 && value != 0;
}

}  // namespace

ProcessorFlags buildProcessorFlags(CapabilityQuery query) {
  // The settled layout of the word: some features own several bits, and
  // the second query adds rather than ORs (it cannot carry: the word then
  // holds 0 or 1).
  ProcessorFlags word = 0;
  if (present(query, "hw.optional.mmx")) word = 1;
  if (present(query, "hw.optional.sse")) word += 38;
  struct Bits {
    const char* key;
    ProcessorFlags bits;
  };
  constexpr Bits kRest[] = {
      {"hw.optional.sse2", 64},       {"hw.optional.sse3", 128},   {"hw.optional.supplementalsse3", 256},
      {"hw.optional.sse4_1", 1024},   {"hw.optional.sse4_2", 6144}, {"hw.optional.aes", 16384},
      {"hw.optional.bmi1", 8192},     {"hw.optional.f16c", 131072}, {"hw.optional.avx1_0", 1048576},
      {"hw.optional.avx2_0", 2097152}, {"hw.optional.fma", 32768},
  };
  for (const Bits& entry : kRest)
    if (present(query, entry.key)) word |= entry.bits;
  return word;
}

ProcessorFlags queryProcessorFlags() {
  return buildProcessorFlags(Platform::queryCapability) & flagMask.load(std::memory_order_relaxed);
}

void restrictProcessorFlags(ProcessorFlags mask) { flagMask.store(mask, std::memory_order_relaxed); }

void noteLevelRun(KernelLevel level) { lastLevel.store(level, std::memory_order_relaxed); }
KernelLevel lastLevelRun() { return lastLevel.load(std::memory_order_relaxed); }

}  // namespace OZ::Image
