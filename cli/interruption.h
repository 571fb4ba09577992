#pragma once
// Ctrl-C during a run: the handler only notes it. The run looks between
// frames, and the host's abort callback answers it inside a frame, so that
// the frame being rendered is abandoned, nothing more is written, and the
// tool exits 130.

namespace StrobeQuirk::Cli {

// Catches SIGINT for as long as it lives; the previous handling comes back
// afterwards. Starts with no stop requested.
class InterruptCatcher {
 public:
  InterruptCatcher();
  ~InterruptCatcher();
  InterruptCatcher(const InterruptCatcher&) = delete;
  InterruptCatcher& operator=(const InterruptCatcher&) = delete;
};

// True once SIGINT arrived while a catcher was alive.
bool interruptRequested();

// Throws Interrupted when a stop was requested.
void stopIfInterrupted();

}  // namespace StrobeQuirk::Cli
