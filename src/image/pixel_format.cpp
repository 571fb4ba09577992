#include "image/pixel_format.h"

namespace OZ::Image {
namespace {

struct FormatEntry {
  PixelFormatCode code;
  int depth;
  std::uint32_t white;
  bool hasPositions;
  ChannelPositions positions;
};

constexpr FormatEntry kFormats[] = {
    {formatCode("ae32"), 32, 1, true, {1, 2, 3, 0}},
    {formatCode("ARgb"), 32, 1, true, {1, 2, 3, 0}},
    {formatCode("BGra"), 32, 1, true, {2, 1, 0, 3}},
    {formatCode("VUya"), 32, 1, true, {2, 1, 0, 3}},
    {formatCode("ae16"), 16, 32768, true, {1, 2, 3, 0}},
    {formatCode("Argb"), 16, 32768, true, {1, 2, 3, 0}},
    {formatCode("Bgra"), 16, 32768, true, {2, 1, 0, 3}},
    {formatCode("Vuya"), 16, 32768, true, {2, 1, 0, 3}},
    {formatCode("argb"), 8, 255, true, {1, 2, 3, 0}},
    {formatCode("bgra"), 8, 255, true, {2, 1, 0, 3}},
    {formatCode("vuya"), 8, 255, true, {2, 1, 0, 3}},
    {formatCode("yuy2"), 8, 255, true, {0, 1, 2, 3}},
    {formatCode("yuy3"), 8, 255, true, {0, 1, 2, 3}},
    {formatCode("uyvy"), 8, 255, true, {1, 0, 3, 2}},
    {formatCode("uyv7"), 8, 255, true, {1, 0, 3, 2}},
    {formatCode("v210"), 10, 255, false, {}},
    {formatCode("v211"), 10, 255, false, {}},
};

const FormatEntry* find(PixelFormatCode code) {
  for (const FormatEntry& entry : kFormats)
    if (entry.code == code) return &entry;
  return nullptr;
}

}  // namespace

int formatDepth(PixelFormatCode code) {
  const FormatEntry* entry = find(code);
  return entry ? entry->depth : 0;
}

std::uint32_t formatWhite(PixelFormatCode code) {
  const FormatEntry* entry = find(code);
  return entry ? entry->white : 0;
}

bool formatPositions(PixelFormatCode code, ChannelPositions& positions) {
  const FormatEntry* entry = find(code);
  if (!entry || !entry->hasPositions) return false;
  positions = entry->positions;
  return true;
}

ChannelOrder channelOrder(PixelFormatCode code) {
  ChannelPositions positions;
  return formatPositions(code, positions) && positions[0] == 1 ? ChannelOrder::AlphaFirst : ChannelOrder::AlphaLast;
}

PixelDescriptor describePixels(PixelFormatCode code, int depth, bool negativeStride) {
  PixelDescriptor descriptor;
  const std::uint32_t white = formatWhite(code);
  if (depth == 32)
    descriptor.type = kFloat32;
  else if (depth == 16)
    descriptor.type = white < 32768 ? kSigned16 : kUnsigned16;
  else
    descriptor.type = kUnsigned8;
  ChannelPositions p;
  descriptor.swizzle = formatPositions(code, p) ? std::uint8_t(p[0] << 6 | p[1] << 4 | p[2] << 2 | p[3]) : 27;
  descriptor.flags = negativeStride ? kDescriptorNegativeStride : 0;
  descriptor.white = descriptor.type == kUnsigned16 || descriptor.type == kSigned16 ? white : 0;
  return descriptor;
}

}  // namespace OZ::Image
