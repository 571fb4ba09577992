#pragma once
// The parameters of one applied effect, as the application keeps them: the
// definitions the plug-in added, each with its value now and at keyframed
// times, and the checkouts the plug-in holds. Index 0 is the effect's input
// layer, which the application adds itself.

#include <cstddef>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/ae/ae_interface.h"

namespace StandIn {

class StandInHost;

struct HostParam {
  PF_ParamDef definition{};  // as added; its value fields hold the value between keyframes
  std::string label;         // a check box's label or a popup's choices, copied when added
  std::map<A_long, PF_ParamDef> keyframes;  // by time; each holds until the next
  PF_EffectWorld* layer = nullptr;          // a layer parameter's world, not owned
};

class ParamList {
 public:
  explicit ParamList(StandInHost& host);
  ~ParamList();
  ParamList(const ParamList&) = delete;
  ParamList& operator=(const ParamList&) = delete;

  // Back to the input layer alone, disposing every handle the list holds.
  void clear();

  // The callbacks. add_param appends (index -1 or the next index);
  // checkout_param copies the definition at a time into `param`;
  // checkin_param takes back only what was checked out, and adopts the
  // value when the plug-in marked it changed.
  PF_Err add(PF_ParamIndex index, const PF_ParamDef& def);
  PF_Err checkout(PF_ParamIndex index, A_long time, PF_ParamDef* param);
  PF_Err checkin(PF_ParamDef* param);

  std::size_t count() const { return params_.size(); }
  HostParam& at(PF_ParamIndex index) { return params_.at(std::size_t(index)); }
  const HostParam& at(PF_ParamIndex index) const { return params_.at(std::size_t(index)); }
  // The definition as the plug-in sees it at `time`.
  PF_ParamDef valueAt(PF_ParamIndex index, A_long time) const;

  // Setting values the way a user does.
  PF_ParamDef& keyframe(PF_ParamIndex index, A_long time);  // made from the value between keyframes
  void setFloat(PF_ParamIndex index, double value);
  // A number typed into a slider: held to the control's valid range, as the
  // application holds it. setFloat takes any value, as a host bug might.
  void enterFloat(PF_ParamIndex index, double value);
  void setBool(PF_ParamIndex index, bool value);
  void setInt(PF_ParamIndex index, A_long value);  // sliders and popups (1-based)
  void setText(PF_ParamIndex index, const std::string& text);  // an arbitrary parameter's text, with its zero
  std::string textOf(PF_ParamIndex index) const;                // up to the zero or the handle's end
  void setLayer(PF_ParamIndex index, PF_EffectWorld* world);

  // A definition the plug-in wrote (in a parameter array or a checkout):
  // its value becomes the parameter's value between keyframes.
  void adoptValue(PF_ParamIndex index, const PF_ParamDef& written);
  // A handle the application keeps from now on, disposed with the list.
  void keepHandle(PF_Handle handle);

  // Checkouts not yet checked in, and the totals.
  std::size_t outstanding() const { return outstanding_.size(); }
  std::size_t checkouts() const { return checkouts_; }
  std::size_t checkins() const { return checkins_; }
  std::vector<A_long> checkoutTimes() const { return checkoutTimes_; }

 private:
  StandInHost& host_;
  std::deque<HostParam> params_;  // a deque keeps labels in place as the list grows
  std::map<const PF_ParamDef*, PF_ParamIndex> outstanding_;  // by the plug-in's record
  std::set<PF_Handle> handles_;
  std::size_t checkouts_ = 0, checkins_ = 0;
  std::vector<A_long> checkoutTimes_;
};

}  // namespace StandIn
