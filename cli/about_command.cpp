// strobe-quirk about: what the effect's about command shows, with the
// plug-in loaded and called the way the application calls it.

#include <iostream>
#include <memory>
#include <stdexcept>

#include "cli/commands.h"
#include "cli/plugin_location.h"
#include "standin/alert_capture.h"
#include "standin/effect_instance.h"

namespace StrobeQuirk::Cli {
namespace {

int runAbout(const std::vector<std::string>& words) {
  const Arguments arguments(words, {{"--plugin", true}});
  arguments.expectPositionals(0, "no arguments");
  const std::unique_ptr<StandIn::PluginLoader> plugin = loadPlugin(arguments.optional("--plugin"));

  StandIn::StandInHost host;
  StandIn::EffectInstance effect(host, plugin->entry());
  PF_Err result = effect.globalSetup();
  if (result != PF_Err_NONE) throw std::runtime_error("the plug-in's global setup failed with " + std::to_string(result));
  // Off macOS the box is written to standard error; it is the answer here.
  const std::string shown = StandIn::captureAlerts([&] { result = effect.about(); });
  if (result != PF_Err_NONE)
    throw std::runtime_error("the about command failed with " + std::to_string(result) +
                             (effect.message().empty() ? "" : ": " + effect.message()));
  std::cout << shown;
  return 0;
}

}  // namespace

const Command kAboutCommand{"about", "show the effect's about box",
                            "usage: strobe-quirk about [--plugin PATH]\n"
                            "\n"
                            "Loads the plug-in (the one beside the tool, or installed with it, or PATH) as\n"
                            "the application does and prints what its about command shows: the title,\n"
                            "the text, and the button.\n",
                            runAbout};

}  // namespace StrobeQuirk::Cli
