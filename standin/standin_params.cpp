#include "standin/standin_params.h"

#include <cstring>
#include <iterator>
#include <new>
#include <string>

#include "standin/standin_host.h"

namespace StandIn {
namespace {

// The value of a layer parameter is its world.
void fillLayer(PF_ParamDef& def, const PF_EffectWorld* world) {
  if (def.param_type != PF_Param_LAYER) return;
  const A_long fallback = def.u.ld.dephault;
  def.u.ld = world ? *world : PF_LayerDef{};
  def.u.ld.dephault = fallback;
}

}  // namespace

ParamList::ParamList(StandInHost& host) : host_(host) { clear(); }

ParamList::~ParamList() {
  for (PF_Handle handle : handles_) host_.disposeHandle(handle);
}

void ParamList::clear() {
  for (PF_Handle handle : handles_) host_.disposeHandle(handle);
  handles_.clear();
  params_.clear();
  outstanding_.clear();
  HostParam input;
  input.definition.param_type = PF_Param_LAYER;
  params_.push_back(input);
}

void ParamList::keepHandle(PF_Handle handle) {
  if (!handle || handles_.count(handle)) return;
  host_.adoptHandle(handle);
  handles_.insert(handle);
}

PF_Err ParamList::add(PF_ParamIndex index, const PF_ParamDef& def) {
  if (index != -1 && index != PF_ParamIndex(params_.size())) {
    host_.reportViolation("add_param at index " + std::to_string(index) + " of " + std::to_string(params_.size()));
    return PF_Err_INVALID_INDEX;
  }
  HostParam param;
  param.definition = def;
  // Pointers in the definition are the plug-in's and die with its call:
  // what they point at is copied now.
  if (def.param_type == PF_Param_CHECKBOX && def.u.bd.u.nameptr) param.label = def.u.bd.u.nameptr;
  if (def.param_type == PF_Param_POPUP && def.u.pd.u.namesptr) param.label = def.u.pd.u.namesptr;
  params_.push_back(std::move(param));
  HostParam& added = params_.back();
  if (def.param_type == PF_Param_CHECKBOX) added.definition.u.bd.u.nameptr = added.label.c_str();
  if (def.param_type == PF_Param_POPUP) added.definition.u.pd.u.namesptr = added.label.c_str();
  if (def.param_type == PF_Param_ARBITRARY_DATA) keepHandle(def.u.arb_d.dephault);
  return PF_Err_NONE;
}

PF_ParamDef ParamList::valueAt(PF_ParamIndex index, A_long time) const {
  const HostParam& param = at(index);
  PF_ParamDef def = param.definition;
  auto after = param.keyframes.upper_bound(time);
  if (after != param.keyframes.begin()) def.u = std::prev(after)->second.u;
  else if (!param.keyframes.empty()) def.u = param.keyframes.begin()->second.u;
  fillLayer(def, param.layer);
  def.uu.change_flags = PF_ChangeFlag_NONE;
  return def;
}

PF_Err ParamList::checkout(PF_ParamIndex index, A_long time, PF_ParamDef* param) {
  if (index < 0 || std::size_t(index) >= params_.size()) {
    host_.reportViolation("checkout_param of index " + std::to_string(index) + ", which does not exist");
    return PF_Err_INVALID_INDEX;
  }
  if (outstanding_.count(param)) {
    host_.reportViolation("checkout_param into a definition that is already checked out");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  *param = valueAt(index, time);
  outstanding_[param] = index;
  ++checkouts_;
  checkoutTimes_.push_back(time);
  return PF_Err_NONE;
}

PF_Err ParamList::checkin(PF_ParamDef* param) {
  auto found = outstanding_.find(param);
  if (found == outstanding_.end()) {
    host_.reportViolation("checkin_param of a definition that was not checked out");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  const PF_ParamIndex index = found->second;
  outstanding_.erase(found);
  ++checkins_;
  if (param->uu.change_flags & PF_ChangeFlag_CHANGED_VALUE) adoptValue(index, *param);
  return PF_Err_NONE;
}

void ParamList::adoptValue(PF_ParamIndex index, const PF_ParamDef& written) {
  PF_ParamDef& stored = at(index).definition;
  if (stored.param_type == PF_Param_LAYER) return;  // a layer is chosen by the user alone
  if (stored.param_type == PF_Param_ARBITRARY_DATA) {
    PF_Handle now = written.u.arb_d.value, before = stored.u.arb_d.value;
    if (now != before && before && handles_.count(before)) {
      handles_.erase(before);
      host_.disposeHandle(before);
    }
    keepHandle(now);
    stored.u.arb_d.value = now;
    return;
  }
  const auto nameptr = stored.u.bd.u.nameptr;
  const auto namesptr = stored.u.pd.u.namesptr;
  stored.u = written.u;
  // The labels stay the application's copies.
  if (stored.param_type == PF_Param_CHECKBOX) stored.u.bd.u.nameptr = nameptr;
  if (stored.param_type == PF_Param_POPUP) stored.u.pd.u.namesptr = namesptr;
}

PF_ParamDef& ParamList::keyframe(PF_ParamIndex index, A_long time) {
  HostParam& param = at(index);
  auto found = param.keyframes.find(time);
  if (found != param.keyframes.end()) return found->second;
  return param.keyframes.emplace(time, param.definition).first->second;
}

void ParamList::setFloat(PF_ParamIndex index, double value) { at(index).definition.u.fs_d.value = value; }
void ParamList::enterFloat(PF_ParamIndex index, double value) {
  const PF_FloatSliderDef& slider = at(index).definition.u.fs_d;
  setFloat(index, value < slider.valid_min ? slider.valid_min : value > slider.valid_max ? slider.valid_max : value);
}
void ParamList::setBool(PF_ParamIndex index, bool value) { at(index).definition.u.bd.value = value ? 1 : 0; }
void ParamList::setInt(PF_ParamIndex index, A_long value) { at(index).definition.u.sd.value = value; }
void ParamList::setLayer(PF_ParamIndex index, PF_EffectWorld* world) { at(index).layer = world; }

void ParamList::setText(PF_ParamIndex index, const std::string& text) {
  PF_Handle handle = host_.applicationHandle(text.size() + 1);
  std::memcpy(*handle, text.c_str(), text.size() + 1);
  PF_ParamDef written = at(index).definition;
  written.u.arb_d.value = handle;
  adoptValue(index, written);
}

std::string ParamList::textOf(PF_ParamIndex index) const {
  PF_Handle handle = at(index).definition.u.arb_d.value;
  if (!handle) return {};
  const char* bytes = static_cast<const char*>(*handle);
  return std::string(bytes, ::strnlen(bytes, std::size_t(host_.handleSize(handle))));
}

}  // namespace StandIn
