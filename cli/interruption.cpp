#include "cli/interruption.h"

#include <signal.h>

#include <csignal>

#include "cli/command.h"

namespace StrobeQuirk::Cli {
namespace {

volatile std::sig_atomic_t stopRequested = 0;
struct sigaction previousAction;

extern "C" void noteInterrupt(int) { stopRequested = 1; }

}  // namespace

InterruptCatcher::InterruptCatcher() {
  stopRequested = 0;
  struct sigaction action {};
  action.sa_handler = noteInterrupt;
  sigemptyset(&action.sa_mask);
  // Reads and writes carry on: the run stops where it looks at the flag.
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, &previousAction);
}

InterruptCatcher::~InterruptCatcher() { sigaction(SIGINT, &previousAction, nullptr); }

bool interruptRequested() { return stopRequested != 0; }

void stopIfInterrupted() {
  if (interruptRequested()) throw Interrupted("interrupted");
}

}  // namespace StrobeQuirk::Cli
