#pragma once
// The road from the host's entry call to the adapter: the command table and
// the one exception boundary, where every exception becomes the host's
// result and, where it has one, a message for the user.

#include <cstdint>

#include "host/ae/ae_interface.h"
#include "host/ae/host.h"

namespace OZ::Host::AE {

// Runs one command on an attached adapter. A command without a handler
// returns 0 and changes nothing. Never throws.
PF_Err dispatchCommand(Host& host, PF_Cmd command) noexcept;

// What the entry point does for every call: an adapter of class Effect on
// the stack, attached, given the parameter ids, dispatched and torn down
// before the call returns. `paramIds` holds one id per record, or is null.
template <class Effect>
PF_Err runPluginEntry(PF_Cmd command, PF_InData* inData, PF_OutData* outData, PF_ParamDef* params[],
                      PF_LayerDef* output, void* extra, const std::uint32_t* paramIds) {
  Effect effect;
  effect.attach(inData, outData, params, output, extra);
  effect.paramIds = paramIds;
  return dispatchCommand(effect, command);
}

}  // namespace OZ::Host::AE
