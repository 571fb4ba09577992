#include "image/pixel_conversion.h"

namespace OZ::Image {

namespace {
// Floats above 1 become white; the rest is clamped below at 0 and scaled.
template <class Integer>
Integer fromFloat(float value, float white) {
  if (value > 1.0f) return Integer(white);
  const float clamped = value < 0.0f ? 0.0f : value;
  return Integer(truncateToInt(clamped * white));
}
}  // namespace

void convertComponent(std::uint8_t source, std::uint8_t& target) { target = source; }
void convertComponent(std::uint16_t source, std::uint8_t& target) {
  target = std::uint8_t((std::uint32_t(source) * 255) >> 15);
}
void convertComponent(float source, std::uint8_t& target) { target = fromFloat<std::uint8_t>(source, 255.0f); }
void convertComponent(std::uint8_t source, std::uint16_t& target) {
  target = std::uint16_t(std::uint32_t(source) * 32768 / 255);
}
void convertComponent(std::uint16_t source, std::uint16_t& target) { target = source; }
void convertComponent(float source, std::uint16_t& target) { target = fromFloat<std::uint16_t>(source, 32768.0f); }
void convertComponent(std::uint8_t source, float& target) { target = float(source) / 255.0f; }
void convertComponent(std::uint16_t source, float& target) { target = float(source) * 3.0517578e-5f; }
void convertComponent(float source, float& target) { target = source; }

}  // namespace OZ::Image
