#pragma once
// --cpu LEVEL: the highest processor level the kernels may use.

#include <string>

#include "image/filters/processor_flags.h"

namespace StrobeQuirk::Cli {

// The flag mask of auto, scalar, sse2, ssse3 or sse41; UsageError for any
// other name and for a level this processor lacks.
OZ::Image::ProcessorFlags processorMask(const std::string& level);

// For help texts.
inline constexpr const char kCpuOptionHelp[] =
    "  --cpu LEVEL   the highest processor level the kernels may use: auto (default),\n"
    "                scalar, sse2, ssse3, sse41; a level this processor lacks is refused\n";

}  // namespace StrobeQuirk::Cli
