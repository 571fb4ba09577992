#pragma once
// strobe-quirk render, callable in process with the stand-in's fault
// switches set, so that tests can stop or starve a render.

#include <functional>
#include <string>
#include <vector>

#include "standin/standin_host.h"

namespace StrobeQuirk::Cli {

// What `strobe-quirk render WORDS...` does; throws as every command does.
// `stopRequested` is asked between frames and by the host's abort inside
// one: once it answers true the run ends with Interrupted, nothing more
// written.
int runRender(const std::vector<std::string>& words, const StandIn::Faults& faults,
              const std::function<bool()>& stopRequested = [] { return false; });

}  // namespace StrobeQuirk::Cli
