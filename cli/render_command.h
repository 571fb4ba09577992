#pragma once
// strobe-quirk render, callable in process with the stand-in's fault
// switches set, so that tests can stop or starve a render.

#include <string>
#include <vector>

#include "standin/standin_host.h"

namespace StrobeQuirk::Cli {

// What `strobe-quirk render WORDS...` does; throws as every command does.
int runRender(const std::vector<std::string>& words, const StandIn::Faults& faults);

}  // namespace StrobeQuirk::Cli
