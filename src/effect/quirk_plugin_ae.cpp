// The effect's one instantiation.
#include "effect/quirk_plugin_ae.h"

template class StrobeQuirk::QuirkPlugin<OZ::Host::AE::Host>;
