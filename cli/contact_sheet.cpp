#include "cli/contact_sheet.h"

#include <algorithm>
#include <stdexcept>

#include "cli/digit_font.h"

namespace StrobeQuirk::Cli {
namespace {

constexpr float kBackground = 48.0f / 255.0f;
constexpr float kCheckerLight = 0.8f, kCheckerDark = 0.55f;
constexpr std::uint8_t kInk = 235;

// A component of the effect's format as 0..1.
float unit(const Frame& frame, std::size_t index) {
  switch (frame.format->depth) {
    case 8: return float(frame.bytes[index]) / 255.0f;
    case 16: return float(reinterpret_cast<const std::uint16_t*>(frame.bytes.data())[index]) / 32768.0f;
    default: return reinterpret_cast<const float*>(frame.bytes.data())[index];
  }
}

std::uint8_t byteOf(float value) {
  if (!(value > 0.0f)) return 0;
  if (value >= 1.0f) return 255;
  return std::uint8_t(value * 255.0f + 0.5f);
}

}  // namespace

ContactSheet::ContactSheet(int count, Size frameSize, int columns, int shrink)
    : frameSize_(frameSize), columns_(std::max(1, std::min(columns, count))), shrink_(shrink) {
  if (count < 1 || shrink < 1) throw std::invalid_argument("a contact sheet needs frames and a shrink of 1 or more");
  tile_ = {std::max(1, (frameSize.width + shrink - 1) / shrink), std::max(1, (frameSize.height + shrink - 1) / shrink)};
  const int rows = (count + columns_ - 1) / columns_;
  size_ = {kGap + columns_ * (tile_.width + kGap), kGap + rows * (tile_.height + kLabelHeight + kGap)};
  const RawFormat& format = rawFormat("argb8");
  sheet_ = Frame{&format, size_, std::vector<unsigned char>(rawBytes(format, size_))};
  const std::uint8_t background = byteOf(kBackground);
  for (std::size_t i = 0; i < sheet_.bytes.size(); i += 4) {
    sheet_.bytes[i] = 255;
    sheet_.bytes[i + 1] = sheet_.bytes[i + 2] = sheet_.bytes[i + 3] = background;
  }
}

int ContactSheet::shrinkFor(Size frameSize, int widest) {
  return std::max(1, (frameSize.width + widest - 1) / widest);
}

void ContactSheet::place(int index, std::int32_t number, const Frame& frame) {
  if (frame.size.width != frameSize_.width || frame.size.height != frameSize_.height)
    throw std::invalid_argument("a frame of another size on a contact sheet");
  const ComponentPlaces places = componentPlaces(*frame.format);
  const int left = kGap + (index % columns_) * (tile_.width + kGap);
  const int top = kGap + (index / columns_) * (tile_.height + kLabelHeight + kGap);
  auto put = [&](int x, int y, std::uint8_t r, std::uint8_t g, std::uint8_t b) {
    unsigned char* pixel = sheet_.bytes.data() + (std::size_t(y) * std::size_t(size_.width) + std::size_t(x)) * 4;
    pixel[1] = r;
    pixel[2] = g;
    pixel[3] = b;
  };
  for (int ty = 0; ty < tile_.height; ++ty) {
    for (int tx = 0; tx < tile_.width; ++tx) {
      // The average of the frame's pixels under the tile's, in straight
      // colour weighted by alpha, laid over the checkerboard.
      float red = 0, green = 0, blue = 0, alpha = 0;
      int covered = 0;
      for (int y = ty * shrink_; y < std::min(frameSize_.height, (ty + 1) * shrink_); ++y) {
        for (int x = tx * shrink_; x < std::min(frameSize_.width, (tx + 1) * shrink_); ++x) {
          const std::size_t at = (std::size_t(y) * std::size_t(frameSize_.width) + std::size_t(x)) * 4;
          const float a = std::clamp(unit(frame, at + std::size_t(places.alpha)), 0.0f, 1.0f);
          red += a * unit(frame, at + std::size_t(places.red));
          green += a * unit(frame, at + std::size_t(places.green));
          blue += a * unit(frame, at + std::size_t(places.blue));
          alpha += a;
          ++covered;
        }
      }
      const float n = float(covered);
      const float checker = ((tx / kChecker + ty / kChecker) % 2) != 0 ? kCheckerDark : kCheckerLight;
      const float under = checker * (1.0f - alpha / n);
      put(left + tx, top + ty, byteOf(red / n + under), byteOf(green / n + under), byteOf(blue / n + under));
    }
  }
  const std::string label = std::to_string(number);
  const int labelLeft = left + std::max(0, (tile_.width - textWidth(label) * kLabelScale) / 2);
  const int labelTop = top + tile_.height + 2;
  for (std::size_t c = 0; c < label.size(); ++c)
    for (int y = 0; y < kGlyphHeight * kLabelScale; ++y)
      for (int x = 0; x < kGlyphWidth * kLabelScale; ++x) {
        const int sheetX = labelLeft + int(c) * (kGlyphWidth + 1) * kLabelScale + x;
        if (sheetX < left + tile_.width && glyphInked(label[c], x / kLabelScale, y / kLabelScale))
          put(sheetX, labelTop + y, kInk, kInk, kInk);
      }
}

}  // namespace StrobeQuirk::Cli
