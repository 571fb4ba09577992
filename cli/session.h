#pragma once
// One run of the tool: a stand-in host with the plug-in's adapter attached,
// and the application-owned worlds that hold the tool's input and output.

#include <memory>
#include <vector>

#include "cli/raw_image.h"
#include "effect/quirk_plugin_ae.h"
#include "standin/standin_host.h"

namespace StrobeQuirk::Cli {

class Session {
 public:
  explicit Session(const StandIn::Settings& settings = {});
  ~Session();

  // A world of the application's, filled from raw bytes (or left as the
  // host leaves new worlds when bytes is empty).
  PF_EffectWorld* layer(const RawFormat& format, const Size& size, const std::vector<unsigned char>& bytes = {});

  StandIn::StandInHost standIn;
  StrobeQuirk::QuirkPluginAE host;  // the plug-in, as the entry point builds it

 private:
  std::vector<PF_EffectWorld*> layers_;
};

}  // namespace StrobeQuirk::Cli
