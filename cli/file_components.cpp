#include "cli/file_components.h"

namespace StrobeQuirk::Cli {
namespace {

// In double, where value * top + 0.5 is exact for every float in 0..1.
std::uint32_t scaleFloat(float value, std::uint32_t top) {
  if (!(value > 0.0f)) return 0;
  if (value >= 1.0f) return top;
  return std::uint32_t(double(value) * double(top) + 0.5);
}

}  // namespace

std::uint8_t file8FromFloat(float value) { return std::uint8_t(scaleFloat(value, 255)); }
std::uint16_t file16FromFloat(float value) { return std::uint16_t(scaleFloat(value, 65535)); }

}  // namespace StrobeQuirk::Cli
