#pragma once
// The processor capability word and the levels that kernels exist for.
// Selection reads the word once per band, highest level first; a level entry
// may decline a band and the next lower level is tried.

#include <cstdint>

namespace OZ::Image {

using ProcessorFlags = std::uint32_t;

inline constexpr ProcessorFlags kFlagSSE2 = 64;
inline constexpr ProcessorFlags kFlagSSSE3 = 256;
inline constexpr ProcessorFlags kFlagSSE41 = 1024;
// Read only by the blur's vector family, which widens its double feedback
// to 256-bit registers where the processor has them.
inline constexpr ProcessorFlags kFlagAVX = 0x100000;

// One capability query: 0 when the call succeeded, with the value read.
// A feature is present when the call succeeded and the value is not 0.
using CapabilityQuery = int (*)(const char* key, std::int32_t& value);

// The word built from the thirteen queries, in their fixed order.
ProcessorFlags buildProcessorFlags(CapabilityQuery query);

// The word of this machine, restricted by the mask below. Keeps no cache.
ProcessorFlags queryProcessorFlags();

// Test seam: restricts every later queryProcessorFlags() to the bits of the
// mask. The command's --cpu and the tests set it; the plug-in never does.
void restrictProcessorFlags(ProcessorFlags mask);

// The level tags. Kernel code is templated on them, so that an instance
// compiled with one level's instructions can never stand in for another's.
enum class KernelLevel { Scalar, SSE2, SSSE3, SSE41, AVX };

struct ScalarLevel {
  static constexpr KernelLevel level = KernelLevel::Scalar;
};
struct SSE2Level {
  static constexpr KernelLevel level = KernelLevel::SSE2;
  static constexpr ProcessorFlags flag = kFlagSSE2;
};
struct SSSE3Level {
  static constexpr KernelLevel level = KernelLevel::SSSE3;
  static constexpr ProcessorFlags flag = kFlagSSSE3;
};
struct SSE41Level {
  static constexpr KernelLevel level = KernelLevel::SSE41;
  static constexpr ProcessorFlags flag = kFlagSSE41;
};
struct AVXLevel {
  static constexpr KernelLevel level = KernelLevel::AVX;
  static constexpr ProcessorFlags flag = kFlagAVX;
};

// Which level took the latest band, so that a test can prove a forced
// level really ran.
void noteLevelRun(KernelLevel level);
KernelLevel lastLevelRun();

}  // namespace OZ::Image
