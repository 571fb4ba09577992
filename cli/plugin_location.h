#pragma once
// Which plug-in the tool loads. The library sits beside the tool in the
// build tree, and in lib/strobe-quirk/ beside bin/ once installed; --plugin
// names any other.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "standin/plugin_loader.h"

namespace StrobeQuirk::Cli {

// The places looked in, in order, when no path is given.
std::vector<std::string> pluginCandidates();

// `given` when there is one (one that cannot be loaded is bad input), else
// the first candidate that exists; std::runtime_error when none does.
std::unique_ptr<StandIn::PluginLoader> loadPlugin(const std::optional<std::string>& given);

}  // namespace StrobeQuirk::Cli
