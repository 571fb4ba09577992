#pragma once
// One host parameter's definition for the length of a read or a write: the
// entry of the command's parameter array when there is one, otherwise a
// definition checked out of the host and given back on every way out.

#include "host/ae/ae_interface.h"
#include "host/ae/host.h"

namespace OZ::Host::AE {

class ParamAccess {
 public:
  // At the current time; in place when the command has a parameter array.
  ParamAccess(Host& host, PF_ParamIndex index) : host_(host) {
    if (host.params) {
      def_ = host.params[index];
      return;
    }
    checkOut(index, host.inData->current_time);
  }

  // At `time` counted in time steps; always checked out.
  ParamAccess(Host& host, PF_ParamIndex index, double time) : host_(host) {
    checkOut(index, A_long(double(host.inData->time_step) * time));
  }

  ~ParamAccess() {
    // What the host did not give is not given back. The read itself goes
    // on with the zeroed definition: the checkout's result is not judged.
    if (checkedOut_) host_.inData->inter.checkin_param(host_.inData->effect_ref, &local_);
  }

  ParamAccess(const ParamAccess&) = delete;
  ParamAccess& operator=(const ParamAccess&) = delete;

  PF_ParamDef& def() { return *def_; }

 private:
  void checkOut(PF_ParamIndex index, A_long time) {
    const PF_InData& in = *host_.inData;
    checkedOut_ = in.inter.checkout_param(in.effect_ref, index, time, in.time_step, in.time_scale, &local_) ==
                  PF_Err_NONE;
  }

  Host& host_;
  PF_ParamDef local_{};
  PF_ParamDef* def_ = &local_;
  bool checkedOut_ = false;
};

}  // namespace OZ::Host::AE
