// The plug-in's one exported function. Each call builds the effect on the
// stack, runs the command and tears it down: nothing lives between calls.

#include "effect/quirk_plugin_ae.h"
#include "host/ae/dispatch.h"

namespace {

// The ids saved projects tie the four controls' values to: never change them.
constexpr std::uint32_t kQuirkParamIds[] = {1, 2, 3, 4};

// Version 1.0, release, as global setup announces it.
constexpr A_u_long kQuirkVersion = 0x80600;

}  // namespace

extern "C" __attribute__((visibility("default"))) PF_Err PluginEntry(PF_Cmd command, PF_InData* inData,
                                                                      PF_OutData* outData, PF_ParamDef* params[],
                                                                      PF_LayerDef* output, void* extra) {
  const PF_Err result = OZ::Host::AE::runPluginEntry<StrobeQuirk::QuirkPluginAE>(command, inData, outData, params,
                                                                                 output, extra, kQuirkParamIds);
  if (command == PF_Cmd_GLOBAL_SETUP) {
    // The effect's own flags on top of the adapter's: its output varies
    // with time alone, and the host may ask for its flags again.
    outData->my_version = kQuirkVersion;
    outData->out_flags |= PF_OutFlag_NON_PARAM_VARY;
    outData->out_flags2 |= PF_OutFlag2_SUPPORTS_QUERY_DYNAMIC_FLAGS;
  }
  return result;
}
