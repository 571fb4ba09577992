#pragma once
// One effect applied to a layer, driven the way the application drives it:
// every command goes through the plug-in's entry function, with the input
// and output blocks, parameter array and extra records the application
// would pass, and the parameter and smart-render callbacks answered here.
// The entry function may be a loaded plug-in's PluginEntry or one built in
// process; the instance cannot tell the difference.
//
// A frame of the built plug-in, as a tool renders it:
//
//   StandIn::StandInHost host;
//   StandIn::PluginLoader plugin(StandIn::PluginLoader::builtPluginPath());
//   StandIn::EffectInstance effect(host, plugin.entry());
//   if (effect.apply() != PF_Err_NONE) ...           // global and parameter setup
//   effect.params.setFloat(1, 5.0);                  // controls by host index
//   StandIn::SmartFrame frame = effect.renderFrame(layer, 12);
//   if (frame.result() != PF_Err_NONE) ...           // frame.message says why
//   // frame.output covers frame.resultRect of the layer, or is null when
//   // the effect made nothing there.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/ae/ae_interface.h"
#include "standin/standin_host.h"
#include "standin/standin_params.h"

namespace StandIn {

// A world of the application's, given back when dropped.
struct WorldDisposer {
  StandInHost* host = nullptr;
  void operator()(PF_EffectWorld* world) const {
    if (world) host->disposeLayerWorld(world);
  }
};
using OwnedWorld = std::unique_ptr<PF_EffectWorld, WorldDisposer>;

// One frame through the smart pre-render and the smart render.
struct SmartFrame {
  PF_Err preRenderResult = PF_Err_NONE;
  PF_Err renderResult = PF_Err_NONE;
  bool rendered = false;  // false when the pre-render failed or left nothing to render
  std::string message;    // what the plug-in flagged for the user, if anything
  PF_LRect resultRect{};
  PF_LRect maxResultRect{};
  // The output, covering resultRect of the layer: origin_x and origin_y
  // give its corner. Null when nothing was rendered.
  OwnedWorld output;
  // Layer checkouts the plug-in did not give back before the render ended;
  // the application takes them back itself.
  std::vector<A_long> pixelsNotCheckedIn;

  PF_Err result() const { return preRenderResult != PF_Err_NONE ? preRenderResult : renderResult; }
};

class EffectInstance {
 public:
  EffectInstance(StandInHost& host, PF_FilterProc entry);
  ~EffectInstance();
  EffectInstance(const EffectInstance&) = delete;
  EffectInstance& operator=(const EffectInstance&) = delete;

  // A command as the application sends it. Returns the plug-in's result;
  // message() holds the text it flagged for the user, or nothing.
  PF_Err call(PF_Cmd command, PF_ParamDef** params, PF_LayerDef* output, void* extra);

  PF_Err about();
  PF_Err globalSetup();
  // Then makes each arbitrary parameter's value from its default, through
  // the plug-in, as the application does for a new instance.
  PF_Err paramsSetup();
  // Global setup and parameter setup.
  PF_Err apply();
  // The whole frame at `frame` time steps, through both smart commands.
  SmartFrame renderFrame(PF_EffectWorld* input, A_long frame);
  SmartFrame smartRender(const PF_LRect& request);
  // The pre-render command alone, with records the caller made: the output
  // may come preset, as a host may preset it. Freeing the pre-render data
  // is the caller's.
  PF_Err smartPreRender(PF_PreRenderInput& input, PF_PreRenderOutput& output);
  PF_Err render(PF_EffectWorld& output);  // the classic command
  PF_Err userChangedParam(PF_ParamIndex index);
  PF_Err updateParamsUI();
  // One arbitrary-data call for the parameter at `index`: id and refcon come
  // from its definition. Handles the plug-in hands back belong to the caller.
  PF_Err arbitrary(PF_ParamIndex index, PF_ArbParamsExtra& call);

  const std::string& message() const { return message_; }
  PF_OutFlags outFlags() const { return outFlags_; }
  PF_OutFlags2 outFlags2() const { return outFlags2_; }
  A_u_long version() const { return version_; }

  ParamList params;
  OZ::Image::PixelFormatCode outputFormat = 0;  // 0: the input layer's format

  // What the smart-render callbacks were asked, for tests.
  int layerCheckouts() const { return layerCheckouts_; }
  int pixelCheckouts() const { return pixelCheckouts_; }
  int pixelCheckins() const { return pixelCheckins_; }
  struct LayerCheckout {
    PF_ParamIndex index;
    A_long time;
    PF_RenderRequest request;
    PF_CheckoutResult result;
  };
  // By checkout id, from the last pre-render.
  const std::map<A_long, LayerCheckout>& lastCheckouts() const { return checkouts_; }

  // The callbacks, reached from the plug-in through the stand-in host.
  PF_Err addParam(PF_ParamIndex index, const PF_ParamDef& def);
  PF_Err checkoutLayer(PF_ParamIndex index, A_long id, const PF_RenderRequest& request, A_long time,
                       PF_CheckoutResult& result);
  PF_Err checkoutLayerPixels(A_long id, PF_EffectWorld** world);
  PF_Err checkinLayerPixels(A_long id);
  PF_Err checkoutOutput(PF_EffectWorld** world);

 private:
  enum class Phase { Idle, ParamsSetup, PreRender, SmartRender, Other };
  void prepareInData();
  std::vector<PF_ParamDef*> parameterArray(std::vector<PF_ParamDef>& defs);
  void adoptWrittenValues(const std::vector<PF_ParamDef>& defs);
  void makeArbitraryValues();
  OZ::Image::PixelFormatCode formatOfOutput() const;

  StandInHost& host_;
  PF_FilterProc entry_;
  Phase phase_ = Phase::Idle;
  std::string message_;
  PF_OutFlags outFlags_ = 0;
  PF_OutFlags2 outFlags2_ = 0;
  A_u_long version_ = 0;
  int addParamCalls_ = 0, layerCheckouts_ = 0, pixelCheckouts_ = 0, pixelCheckins_ = 0;
  std::map<A_long, LayerCheckout> checkouts_;
  std::map<A_long, PF_EffectWorld*> pixels_;  // checked out in the smart render under way
  PF_RenderRequest renderRequest_{};
  PF_EffectWorld* output_ = nullptr;
};

}  // namespace StandIn
