#pragma once
// The effect on the After Effects adapter: the class the entry point builds
// for every host call.

#include "effect/quirk_plugin.h"
#include "host/ae/host.h"

namespace StrobeQuirk {

class QuirkPluginAE final : public QuirkPlugin<OZ::Host::AE::Host> {};

}  // namespace StrobeQuirk
