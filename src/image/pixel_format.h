#pragma once
// Pixel format codes as the host hands them over, and the compact
// descriptor derived from a code. Four components per pixel everywhere.

#include <array>
#include <cstdint>

namespace OZ::Image {

// Four bytes, lowest first, spell the code: "argb" is 'a' | 'r' << 8 | ...
using PixelFormatCode = std::uint32_t;

constexpr PixelFormatCode formatCode(const char (&letters)[5]) {
  return PixelFormatCode(std::uint8_t(letters[0])) | PixelFormatCode(std::uint8_t(letters[1])) << 8 |
         PixelFormatCode(std::uint8_t(letters[2])) << 16 | PixelFormatCode(std::uint8_t(letters[3])) << 24;
}

// Bits per component; 0 for an unknown code.
int formatDepth(PixelFormatCode code);
// The value of a full-scale component; 0 for an unknown code.
std::uint32_t formatWhite(PixelFormatCode code);

// Where red (or luma), green (or U), blue (or V) and alpha sit in a pixel.
using ChannelPositions = std::array<int, 4>;
// False for codes without positions (the 10-bit ones and unknown codes).
bool formatPositions(PixelFormatCode code, ChannelPositions& positions);

// The six kernel variants exist per depth and per channel order. A code is
// alpha-first exactly when red sits at position 1.
enum class ChannelOrder { AlphaLast, AlphaFirst };
ChannelOrder channelOrder(PixelFormatCode code);

constexpr int bytesPerPixel(int depth) { return depth / 8 * 4; }

enum ComponentType : std::int32_t {
  kUnsigned8 = 0,
  kSigned8 = 1,
  kUnsigned16 = 2,
  kSigned16 = 3,
  kHalfFloat = 4,
  kFloat32 = 5,
};

// Bytes of one component of a type; 0 for a type outside 0 to 5.
constexpr std::uint64_t componentBytes(std::int32_t type) {
  constexpr std::uint64_t bytes[] = {1, 1, 2, 2, 2, 4};
  return type >= 0 && type <= 5 ? bytes[type] : 0;
}

struct PixelDescriptor {
  std::uint64_t components = 4;
  float scale = 1.0f;
  std::int32_t type = kUnsigned8;
  std::uint8_t swizzle = 27;  // positions 0, 1, 2, 3: the identity order
  std::uint32_t flags = 2;    // 2: rows run bottom up in memory
  std::uint32_t white = 0;
};

inline constexpr std::uint32_t kDescriptorNegativeStride = 2;

// The descriptor of an image of this code and depth; the flags say whether
// its row stride is negative.
PixelDescriptor describePixels(PixelFormatCode code, int depth, bool negativeStride);

}  // namespace OZ::Image
