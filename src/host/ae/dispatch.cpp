#include "host/ae/dispatch.h"

#include <cstring>
#include <exception>
#include <new>
#include <string>

namespace OZ::Host::AE {
namespace {

// Bounded to the host's buffer, cut rather than overrun, and flagged so
// that the host shows it.
void storeMessage(PF_OutData* outData, const char* text) noexcept {
  if (!outData) return;
  std::strncpy(outData->return_msg, text, sizeof outData->return_msg);
  outData->return_msg[sizeof outData->return_msg - 1] = '\0';
  outData->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
}

PF_Err runHandler(Host& host, PF_Cmd command) {
  switch (command) {
    case PF_Cmd_ABOUT:
      host.about();
      return PF_Err_NONE;
    case PF_Cmd_GLOBAL_SETUP:
      host.globalSetup();
      return PF_Err_NONE;
    case PF_Cmd_PARAMS_SETUP:
      return host.paramsSetup();
    case PF_Cmd_RENDER:
    case PF_Cmd_SMART_RENDER:
      return host.render();
    case PF_Cmd_USER_CHANGED_PARAM:
      return host.userChangedParam();
    case PF_Cmd_UPDATE_PARAMS_UI:
      return host.updateParamsUI();
    case PF_Cmd_ARBITRARY_CALLBACK:
      return host.arbitraryCallback();
    case PF_Cmd_SMART_PRE_RENDER:
      return host.smartPreRender();
    default:
      return PF_Err_NONE;
  }
}

}  // namespace

PF_Err dispatchCommand(Host& host, PF_Cmd command) noexcept {
  try {
    return runHandler(host, command);
  } catch (const Host::Error& error) {
    return error.code;
  } catch (const std::bad_alloc&) {
    storeMessage(host.outData, "Out of memory!");
    return PF_Err_OUT_OF_MEMORY;
  } catch (const std::string& text) {
    storeMessage(host.outData, text.c_str());
    return PF_Err_INTERNAL_STRUCT_DAMAGED;
  } catch (const std::exception& error) {
    storeMessage(host.outData, error.what());
    return PF_Err_INTERNAL_STRUCT_DAMAGED;
  } catch (...) {
    // OZ::Interrupted outside a render, and a suite the host does not have.
    storeMessage(host.outData, "Unknown internal error");
    return PF_Err_INTERNAL_STRUCT_DAMAGED;
  }
}

}  // namespace OZ::Host::AE
