#pragma once
// The per-component conversions of image copies between depths. Nothing is
// dithered or rounded to nearest: every conversion truncates, and nothing
// clamps an integer source (a 16-bit 65535 lands in a byte as 509's low bits).

#include <xmmintrin.h>

#include <cstdint>

namespace OZ::Image {

// Truncation toward zero as the processor does it: a value out of range
// (or not a number) gives the integer indefinite, 0x80000000.
inline std::int32_t truncateToInt(float value) { return _mm_cvtt_ss2si(_mm_set_ss(value)); }

void convertComponent(std::uint8_t source, std::uint8_t& target);
void convertComponent(std::uint16_t source, std::uint8_t& target);
void convertComponent(float source, std::uint8_t& target);
void convertComponent(std::uint8_t source, std::uint16_t& target);
void convertComponent(std::uint16_t source, std::uint16_t& target);
void convertComponent(float source, std::uint16_t& target);
void convertComponent(std::uint8_t source, float& target);
void convertComponent(std::uint16_t source, float& target);
void convertComponent(float source, float& target);

}  // namespace OZ::Image
