// PF_Cmd_USER_CHANGED_PARAM and PF_Cmd_UPDATE_PARAMS_UI: keeping the text of
// a string choice in step with its popup, then telling the effect.

#include <memory>
#include <string>

#include "host/ae/host.h"
#include "host/ae/param_access.h"
#include "host/ae/param_index.h"
#include "host/ae/parameters.h"

namespace OZ::Host::AE {
namespace {

using namespace OZ::Host::Param;

// 0-based position of `text` among the labels; 0 when it is not there.
A_long positionOf(const ParamRecord& record, const std::string& text) {
  for (std::size_t i = 0; i < record.labels.size(); ++i)
    if (record.labels[i] == text) return A_long(i);
  return 0;
}

}  // namespace

PF_Err Host::userChangedParam() {
  if (!wantsUiUpdates()) return PF_Err_NONE;
  const std::unique_ptr<Store> store(makeParameters());
  defineParameters(*store);
  const PF_ParamIndex changed = static_cast<const PF_UserChangedParamExtra*>(extra)->param_index;
  const std::size_t position = recordAtHostIndex(*store, changed);
  if (position < store->records.size() && store->records[position].kind == kStringChoice) {
    // The user picked from the popup: its label becomes the text.
    const ParamRecord& record = store->records[position];
    A_long choice;
    {
      ParamAccess popup(*this, changed);
      choice = popup.def().u.pd.value - 1;
    }
    const bool listed = choice >= 0 && std::size_t(choice) < record.labels.size();
    store->setString(listed ? record.labels[std::size_t(choice)] : std::string(), int(position));
  }
  paramsChanged(*store, std::int32_t(position));
  return PF_Err_NONE;
}

PF_Err Host::updateParamsUI() {
  if (!wantsUiUpdates()) return PF_Err_NONE;
  const std::unique_ptr<Store> store(makeParameters());
  defineParameters(*store);
  for (std::size_t position = 0; position < store->records.size(); ++position) {
    const ParamRecord& record = store->records[position];
    if (record.kind != kStringChoice) continue;
    // The popup shows where the text stands among the labels.
    const A_long choice = positionOf(record, store->getString(int(position))) + 1;
    const PF_ParamIndex popupIndex = hostIndexOf(*store, position) + 1;
    ParamAccess popup(*this, popupIndex);
    if (paramUtilsSuite) {
      PF_ParamDef shown = popup.def();
      shown.u.pd.value = choice;
      paramUtilsSuite->PF_UpdateParamUI(inData->effect_ref, popupIndex, &shown);
    } else {
      popup.def().u.pd.value = choice;
      popup.def().uu.change_flags |= PF_ChangeFlag_CHANGED_VALUE;
    }
  }
  paramsChanged(*store, -1);
  return PF_Err_NONE;
}

}  // namespace OZ::Host::AE
