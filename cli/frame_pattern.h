#pragma once
// The file of each frame of a sequence, named by a pattern such as
// "out/frame.%04d.raw": one printf-style conversion of the frame number,
// "%d" or "%0Nd" (N from 1 to 9, zero-padded to N digits, a minus sign
// counting as one), and "%%" for a percent sign. Any other '%' is refused.

#include <cstdint>
#include <string>

namespace StrobeQuirk::Cli {

class FramePattern {
 public:
  // UsageError (naming `what`) for text without exactly one conversion.
  FramePattern(const std::string& text, const std::string& what);

  // True when `text` holds a '%' at all: meant as a pattern.
  static bool looksLikePattern(const std::string& text);

  std::string path(std::int32_t frame) const;
  const std::string& text() const { return text_; }

 private:
  std::string text_;
  std::string before_, after_;  // with "%%" already made '%'
  int width_ = 0;               // 0: as many digits as it takes
};

}  // namespace StrobeQuirk::Cli
