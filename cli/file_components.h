#pragma once
// Between the components image files store and the effect's own: 8-bit
// files are the effect's 8-bit range as they stand, 16-bit files hold 0 to
// 65535 where the effect's 16-bit formats hold 0 to 32768, and float files
// are the effect's float range. Every scaling rounds to nearest, ties up;
// docs/image-files.md lists the rules and what survives a round trip.

#include <cstdint>

namespace StrobeQuirk::Cli {

// 0..65535 onto 0..32768. No ties: 65535 is odd.
constexpr std::uint16_t effect16FromFile16(std::uint16_t stored) {
  return std::uint16_t((std::uint32_t(stored) * 32768u + 32767u) / 65535u);
}

// 0..32768 onto 0..65535; values past 32768 count as 32768. Every effect
// value comes back from its file value unchanged.
constexpr std::uint16_t file16FromEffect16(std::uint16_t value) {
  const std::uint32_t held = value > 32768u ? 32768u : value;
  return std::uint16_t((held * 65535u + 16384u) >> 15);
}

constexpr std::uint8_t file8FromEffect16(std::uint16_t value) {
  const std::uint32_t held = value > 32768u ? 32768u : value;
  return std::uint8_t((held * 255u + 16384u) >> 15);
}

constexpr std::uint16_t file16FromEffect8(std::uint8_t value) { return std::uint16_t(value * 257u); }

// Floats are held to 0..1 (NaN counts as 0) before they are scaled.
std::uint8_t file8FromFloat(float value);
std::uint16_t file16FromFloat(float value);

constexpr float floatFromEffect8(std::uint8_t value) { return float(value) / 255.0f; }
constexpr float floatFromEffect16(std::uint16_t value) { return float(value) / 32768.0f; }

}  // namespace StrobeQuirk::Cli
