#pragma once
// A one-line progress bar on standard error while frames render: frames
// done, frames per second and the time left. Drawn only when standard error
// is a terminal, so that logs and pipes get nothing of it.

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>

namespace StrobeQuirk::Cli {

// The bar's text for `done` of `total` frames after `seconds`, at most 79
// columns: "frames 12/48 [#######.......]  3.1 fps  0:11 left". No rate or
// time left before the first frame is done.
std::string progressLine(std::int64_t done, std::int64_t total, double seconds);

class ProgressBar {
 public:
  // Draws on `out` only when `shown`; see forStandardError.
  ProgressBar(std::int64_t total, std::ostream& out, bool shown);
  // Shown when standard error is a terminal.
  static ProgressBar forStandardError(std::int64_t total);
  // Takes the line away again, on every way out: messages that follow
  // start on a clean line.
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  void frameDone();

 private:
  void draw();

  std::int64_t total_, done_ = 0;
  std::ostream* out_;
  bool shown_;
  std::chrono::steady_clock::time_point start_;
};

}  // namespace StrobeQuirk::Cli
