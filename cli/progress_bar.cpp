#include "cli/progress_bar.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace StrobeQuirk::Cli {

std::string progressLine(std::int64_t done, std::int64_t total, double seconds) {
  const std::string count = std::to_string(done) + "/" + std::to_string(total);
  std::string rate;
  if (done > 0 && seconds > 0) {
    char text[64];
    const double perSecond = double(done) / seconds;
    const std::int64_t left = std::int64_t(double(total - done) / perSecond + 0.5);
    std::snprintf(text, sizeof text, "  %.1f fps  %lld:%02lld left", perSecond, static_cast<long long>(left / 60),
                  static_cast<long long>(left % 60));
    rate = text;
  }
  // The bar takes what the other parts leave of 79 columns, 10 at least.
  const std::size_t other = 7 + count.size() + 3 + rate.size();
  const std::size_t width = other + 10 < 79 ? std::min<std::size_t>(79 - other, 40) : 10;
  const std::size_t filled = total > 0 ? std::size_t(double(width) * double(done) / double(total)) : width;
  return "frames " + count + " [" + std::string(filled, '#') + std::string(width - filled, '.') + "]" + rate;
}

ProgressBar::ProgressBar(std::int64_t total, std::ostream& out, bool shown)
    : total_(total), out_(&out), shown_(shown), start_(std::chrono::steady_clock::now()) {
  draw();
}

ProgressBar ProgressBar::forStandardError(std::int64_t total) {
  return ProgressBar(total, std::cerr, ::isatty(STDERR_FILENO) == 1);
}

ProgressBar::~ProgressBar() {
  if (shown_) *out_ << "\r\033[K" << std::flush;
}

void ProgressBar::frameDone() {
  ++done_;
  draw();
}

void ProgressBar::draw() {
  if (!shown_) return;
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  *out_ << "\r" << progressLine(done_, total_, seconds) << "\033[K" << std::flush;
}

}  // namespace StrobeQuirk::Cli
