#include "cli/frame_pattern.h"

#include "cli/command.h"

namespace StrobeQuirk::Cli {

FramePattern::FramePattern(const std::string& text, const std::string& what) : text_(text) {
  auto refuse = [&](const std::string& why) {
    return UsageError(what + " " + text + " " + why + " (one %d or %0Nd for the frame number, %% for a %)");
  };
  bool converted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string& into = converted ? after_ : before_;
    if (text[i] != '%') {
      into += text[i];
      continue;
    }
    if (i + 1 < text.size() && text[i + 1] == '%') {
      into += '%';
      ++i;
      continue;
    }
    // %d, or %0 and one digit from 1 to 9, then d.
    std::size_t end = i + 1;
    int width = 0;
    if (end + 1 < text.size() && text[end] == '0' && text[end + 1] >= '1' && text[end + 1] <= '9') {
      width = text[end + 1] - '0';
      end += 2;
    }
    if (end >= text.size() || text[end] != 'd') throw refuse("has a % that is not %d, %0Nd or %%");
    if (converted) throw refuse("numbers the frame twice");
    converted = true;
    width_ = width;
    i = end;
  }
  if (!converted) throw refuse("has no place for the frame number");
}

bool FramePattern::looksLikePattern(const std::string& text) { return text.find('%') != std::string::npos; }

std::string FramePattern::path(std::int32_t frame) const {
  // As printf writes %0Nd: the sign first, then zeros up to N characters.
  const std::string digits = std::to_string(frame < 0 ? -std::int64_t(frame) : std::int64_t(frame));
  const std::string sign = frame < 0 ? "-" : "";
  const std::size_t used = sign.size() + digits.size();
  const std::string zeros(std::size_t(width_) > used ? std::size_t(width_) - used : 0, '0');
  return before_ + sign + zeros + digits + after_;
}

}  // namespace StrobeQuirk::Cli
