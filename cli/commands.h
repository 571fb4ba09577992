#pragma once
// Every subcommand of strobe-quirk, one file each.

#include "cli/command.h"

namespace StrobeQuirk::Cli {

extern const Command kAboutCommand;
extern const Command kConvertCommand;
extern const Command kSampleCommand;
extern const Command kParamsCommand;
extern const Command kPresetCommand;
extern const Command kScheduleCommand;
extern const Command kFilterCommand;
extern const Command kRenderCommand;

}  // namespace StrobeQuirk::Cli
