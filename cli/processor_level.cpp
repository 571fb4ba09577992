#include "cli/processor_level.h"

#include "cli/command.h"

namespace StrobeQuirk::Cli {

OZ::Image::ProcessorFlags processorMask(const std::string& level) {
  using namespace OZ::Image;
  ProcessorFlags mask;
  if (level == "auto")
    return ~ProcessorFlags(0);
  else if (level == "scalar")
    mask = 0;
  else if (level == "sse2")
    mask = kFlagSSE2;
  else if (level == "ssse3")
    mask = kFlagSSE2 | kFlagSSSE3;
  else if (level == "sse41")
    mask = kFlagSSE2 | kFlagSSSE3 | kFlagSSE41;
  else
    throw UsageError("unknown --cpu level " + level + " (auto, scalar, sse2, ssse3, sse41)");
  if ((queryProcessorFlags() & mask) != mask) throw UsageError("this processor lacks " + level);
  return mask;
}

}  // namespace StrobeQuirk::Cli
