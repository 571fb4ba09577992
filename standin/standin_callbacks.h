#pragma once
// The C entry points the stand-in host puts into PF_InData, and its suite
// broker. Each recovers the live stand-in and forwards to it.

#include "host/ae/ae_interface.h"
#include "standin/standin_host.h"

namespace StandIn {

// The stand-in an effect reference belongs to; any other reference ends
// the process.
StandInHost& hostOfEffect(PF_ProgPtr effectRef);

void installUtilityCallbacks(PF_UtilCallbacks& utils, const Settings& settings);
void installInteractCallbacks(PF_InteractCallbacks& inter);
SPBasicSuite* basicSuite();

}  // namespace StandIn
