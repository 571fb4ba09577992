#pragma once
// The processor as the stand-in reports it. On macOS a plug-in asks the
// system's sysctlbyname for the "hw.optional.*" keys; elsewhere a program
// that links this unit and exports sysctlbyname (the command-line tool
// does) answers those questions for every plug-in it loads, so that a run
// can be held to a lower processor level without touching the plug-in.

#include "image/filters/processor_flags.h"

namespace StandIn {

// From now on a key counts as present only when the processor has it and
// every bit it sets in the flag word lies within `mask`; ~0 reports the
// processor as it is. False where the system answers instead (macOS), and
// nothing changes.
bool restrictReportedProcessor(OZ::Image::ProcessorFlags mask);

}  // namespace StandIn
