#include "standin/effect_instance.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "image/pixel_format.h"
#include "standin/standin_callbacks.h"

namespace StandIn {
namespace {

bool isEmpty(const PF_LRect& rect) { return rect.left >= rect.right || rect.top >= rect.bottom; }

PF_LRect intersection(const PF_LRect& a, const PF_LRect& b) {
  const PF_LRect both{std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
                      std::min(a.bottom, b.bottom)};
  return isEmpty(both) ? PF_LRect{0, 0, 0, 0} : both;
}

const char* commandName(PF_Cmd command) {
  switch (command) {
    case PF_Cmd_ABOUT: return "PF_Cmd_ABOUT";
    case PF_Cmd_GLOBAL_SETUP: return "PF_Cmd_GLOBAL_SETUP";
    case PF_Cmd_PARAMS_SETUP: return "PF_Cmd_PARAMS_SETUP";
    case PF_Cmd_RENDER: return "PF_Cmd_RENDER";
    case PF_Cmd_USER_CHANGED_PARAM: return "PF_Cmd_USER_CHANGED_PARAM";
    case PF_Cmd_UPDATE_PARAMS_UI: return "PF_Cmd_UPDATE_PARAMS_UI";
    case PF_Cmd_ARBITRARY_CALLBACK: return "PF_Cmd_ARBITRARY_CALLBACK";
    case PF_Cmd_SMART_PRE_RENDER: return "PF_Cmd_SMART_PRE_RENDER";
    case PF_Cmd_SMART_RENDER: return "PF_Cmd_SMART_RENDER";
    default: return "a command";
  }
}

// ---- the smart-render callbacks -------------------------------------------------

PF_Err checkoutLayerCallback(PF_ProgPtr effectRef, PF_ParamIndex index, A_long id, const PF_RenderRequest* request,
                             A_long time, A_long, A_u_long, PF_CheckoutResult* result) {
  StandInHost& host = hostOfEffect(effectRef);
  host.noteInteraction("checkout_layer");
  return host.instance().checkoutLayer(index, id, *request, time, *result);
}

PF_Err guidMixInCallback(PF_ProgPtr, A_u_long, const void*) {
  std::fputs("stand-in host: GuidMixInPtr is not implemented\n", stderr);
  std::abort();
}

PF_Err checkoutLayerPixelsCallback(PF_ProgPtr effectRef, A_long id, PF_EffectWorld** world) {
  StandInHost& host = hostOfEffect(effectRef);
  host.noteInteraction("checkout_layer_pixels");
  return host.instance().checkoutLayerPixels(id, world);
}

PF_Err checkinLayerPixelsCallback(PF_ProgPtr effectRef, A_long id) {
  StandInHost& host = hostOfEffect(effectRef);
  host.noteInteraction("checkin_layer_pixels");
  return host.instance().checkinLayerPixels(id);
}

PF_Err checkoutOutputCallback(PF_ProgPtr effectRef, PF_EffectWorld** world) {
  StandInHost& host = hostOfEffect(effectRef);
  host.noteInteraction("checkout_output");
  return host.instance().checkoutOutput(world);
}

}  // namespace

EffectInstance::EffectInstance(StandInHost& host, PF_FilterProc entry) : params(host), host_(host), entry_(entry) {
  host_.attachInstance(this);
}

EffectInstance::~EffectInstance() {
  for (auto& entry : pixels_)
    if (entry.second) host_.disposeLayerView(entry.second);
  if (output_) host_.disposeLayerWorld(output_);
  host_.attachInstance(nullptr);
}

void EffectInstance::prepareInData() {
  PF_InData& in = *host_.inData();
  in.num_params = A_long(params.count());
  if (const PF_EffectWorld* layer = params.at(0).layer) {
    in.width = layer->width;
    in.height = layer->height;
    in.extent_hint = {0, 0, layer->width, layer->height};
  }
}

PF_Err EffectInstance::call(PF_Cmd command, PF_ParamDef** array, PF_LayerDef* output, void* extra) {
  prepareInData();
  PF_OutData& out = *host_.outData();
  out.return_msg[0] = '\0';
  out.out_flags &= ~PF_OutFlags(PF_OutFlag_DISPLAY_ERROR_MESSAGE);
  const PF_Err result = entry_(command, host_.inData(), &out, array, output, extra);
  message_.clear();
  if (out.out_flags & PF_OutFlag_DISPLAY_ERROR_MESSAGE)
    message_.assign(out.return_msg, ::strnlen(out.return_msg, sizeof out.return_msg));
  if (params.outstanding())
    host_.reportViolation(std::to_string(params.outstanding()) + " parameter checkouts still out after " +
                          commandName(command));
  return result;
}

PF_Err EffectInstance::about() { return call(PF_Cmd_ABOUT, nullptr, nullptr, nullptr); }

PF_Err EffectInstance::globalSetup() {
  PF_OutData& out = *host_.outData();
  out.out_flags = out.out_flags2 = 0;
  out.my_version = 0;
  phase_ = Phase::Other;
  const PF_Err result = call(PF_Cmd_GLOBAL_SETUP, nullptr, nullptr, nullptr);
  phase_ = Phase::Idle;
  version_ = out.my_version;
  outFlags_ = out.out_flags & ~PF_OutFlags(PF_OutFlag_DISPLAY_ERROR_MESSAGE);
  outFlags2_ = out.out_flags2;
  return result;
}

PF_Err EffectInstance::paramsSetup() {
  params.clear();
  host_.outData()->num_params = 0;
  phase_ = Phase::ParamsSetup;
  const PF_Err result = call(PF_Cmd_PARAMS_SETUP, nullptr, nullptr, nullptr);
  phase_ = Phase::Idle;
  if (result != PF_Err_NONE) return result;
  const A_long announced = host_.outData()->num_params;
  if (announced != A_long(params.count()))
    host_.reportViolation("num_params is " + std::to_string(announced) + " but " + std::to_string(params.count()) +
                          " parameters are there");
  makeArbitraryValues();
  return PF_Err_NONE;
}

PF_Err EffectInstance::apply() {
  const PF_Err result = globalSetup();
  return result != PF_Err_NONE ? result : paramsSetup();
}

void EffectInstance::makeArbitraryValues() {
  for (std::size_t i = 1; i < params.count(); ++i) {
    const PF_ParamDef& def = params.at(PF_ParamIndex(i)).definition;
    if (def.param_type != PF_Param_ARBITRARY_DATA || !def.u.arb_d.dephault || def.u.arb_d.value) continue;
    PF_Handle made = nullptr;
    PF_ArbParamsExtra copy{};
    copy.which_function = PF_Arbitrary_COPY_FUNC;
    copy.u.copy_func_params.src_arbH = def.u.arb_d.dephault;
    copy.u.copy_func_params.dst_arbPH = &made;
    if (arbitrary(PF_ParamIndex(i), copy) != PF_Err_NONE || !made) continue;
    PF_ParamDef written = def;
    written.u.arb_d.value = made;
    params.adoptValue(PF_ParamIndex(i), written);
  }
}

PF_Err EffectInstance::arbitrary(PF_ParamIndex index, PF_ArbParamsExtra& arbitraryCall) {
  const PF_ParamDef& def = params.at(index).definition;
  arbitraryCall.id = def.u.arb_d.id;
  // Every member of the union starts with the refcon.
  arbitraryCall.u.new_func_params.refconPV = def.u.arb_d.refconPV;
  phase_ = Phase::Other;
  const PF_Err result = call(PF_Cmd_ARBITRARY_CALLBACK, nullptr, nullptr, &arbitraryCall);
  phase_ = Phase::Idle;
  return result;
}

// ---- commands with a parameter array ---------------------------------------------

std::vector<PF_ParamDef*> EffectInstance::parameterArray(std::vector<PF_ParamDef>& defs) {
  const A_long now = host_.inData()->current_time;
  defs.clear();
  for (std::size_t i = 0; i < params.count(); ++i) defs.push_back(params.valueAt(PF_ParamIndex(i), now));
  std::vector<PF_ParamDef*> array;
  for (PF_ParamDef& def : defs) array.push_back(&def);
  array.push_back(nullptr);
  return array;
}

void EffectInstance::adoptWrittenValues(const std::vector<PF_ParamDef>& defs) {
  for (std::size_t i = 0; i < defs.size(); ++i)
    if (defs[i].uu.change_flags & PF_ChangeFlag_CHANGED_VALUE) params.adoptValue(PF_ParamIndex(i), defs[i]);
}

PF_Err EffectInstance::render(PF_EffectWorld& output) {
  std::vector<PF_ParamDef> defs;
  std::vector<PF_ParamDef*> array = parameterArray(defs);
  phase_ = Phase::Other;
  const PF_Err result = call(PF_Cmd_RENDER, array.data(), &output, nullptr);
  phase_ = Phase::Idle;
  return result;
}

PF_Err EffectInstance::userChangedParam(PF_ParamIndex index) {
  std::vector<PF_ParamDef> defs;
  std::vector<PF_ParamDef*> array = parameterArray(defs);
  PF_UserChangedParamExtra changed{index};
  phase_ = Phase::Other;
  const PF_Err result = call(PF_Cmd_USER_CHANGED_PARAM, array.data(), nullptr, &changed);
  phase_ = Phase::Idle;
  adoptWrittenValues(defs);
  return result;
}

PF_Err EffectInstance::updateParamsUI() {
  std::vector<PF_ParamDef> defs;
  std::vector<PF_ParamDef*> array = parameterArray(defs);
  phase_ = Phase::Other;
  const PF_Err result = call(PF_Cmd_UPDATE_PARAMS_UI, array.data(), nullptr, nullptr);
  phase_ = Phase::Idle;
  adoptWrittenValues(defs);
  return result;
}

// ---- smart rendering --------------------------------------------------------------

OZ::Image::PixelFormatCode EffectInstance::formatOfOutput() const {
  if (outputFormat) return outputFormat;
  const PF_EffectWorld* input = params.at(0).layer;
  const OZ::Image::PixelFormatCode format = input ? host_.formatOf(*input) : 0;
  return format ? format : OZ::Image::formatCode("argb");
}

SmartFrame EffectInstance::renderFrame(PF_EffectWorld* input, A_long frame) {
  PF_InData& in = *host_.inData();
  host_.setTime(frame * in.time_step, in.time_step, in.time_scale);
  params.setLayer(0, input);
  return smartRender(PF_LRect{0, 0, input->width, input->height});
}

PF_Err EffectInstance::smartPreRender(PF_PreRenderInput& input, PF_PreRenderOutput& output) {
  PF_PreRenderCallbacks callbacks{checkoutLayerCallback, guidMixInCallback};
  PF_PreRenderExtra extra{&input, &output, &callbacks};
  checkouts_.clear();
  phase_ = Phase::PreRender;
  const PF_Err result = call(PF_Cmd_SMART_PRE_RENDER, nullptr, nullptr, &extra);
  phase_ = Phase::Idle;
  return result;
}

SmartFrame EffectInstance::smartRender(const PF_LRect& request) {
  SmartFrame frame;
  frame.output = OwnedWorld(nullptr, WorldDisposer{&host_});
  const short bitDepth = short(OZ::Image::formatDepth(formatOfOutput()));

  PF_PreRenderInput preInput{};
  preInput.output_request.rect = request;
  preInput.output_request.field = PF_Field_FRAME;
  preInput.output_request.channel_mask = PF_ChannelMask_ARGB;
  preInput.bitdepth = bitDepth;
  PF_PreRenderOutput preOutput{};
  frame.preRenderResult = smartPreRender(preInput, preOutput);
  frame.message = message_;
  frame.resultRect = preOutput.result_rect;
  frame.maxResultRect = preOutput.max_result_rect;

  // Nothing to render, or nothing the effect can render: the application
  // does not ask.
  if (frame.preRenderResult == PF_Err_NONE && !isEmpty(preOutput.result_rect)) {
    PF_SmartRenderInput input{};
    input.output_request = preInput.output_request;
    input.output_request.rect = preOutput.result_rect;
    input.bitdepth = bitDepth;
    input.pre_render_data = preOutput.pre_render_data;
    PF_SmartRenderCallbacks callbacks{checkoutLayerPixelsCallback, checkinLayerPixelsCallback,
                                      checkoutOutputCallback};
    PF_SmartRenderExtra extra{&input, &callbacks};
    renderRequest_ = input.output_request;
    pixels_.clear();
    phase_ = Phase::SmartRender;
    frame.renderResult = call(PF_Cmd_SMART_RENDER, nullptr, nullptr, &extra);
    phase_ = Phase::Idle;
    frame.rendered = true;
    frame.message = message_;
    for (auto& entry : pixels_) {
      frame.pixelsNotCheckedIn.push_back(entry.first);
      if (entry.second) host_.disposeLayerView(entry.second);
    }
    pixels_.clear();
    frame.output.reset(output_);
    output_ = nullptr;
  }
  if (preOutput.delete_pre_render_data_func) preOutput.delete_pre_render_data_func(preOutput.pre_render_data);
  return frame;
}

PF_Err EffectInstance::addParam(PF_ParamIndex index, const PF_ParamDef& def) {
  if (phase_ != Phase::ParamsSetup) {
    host_.reportViolation("add_param outside PF_Cmd_PARAMS_SETUP");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  if (++addParamCalls_ == host_.faults.refuseAddParam) return host_.faults.addParamError;
  return params.add(index, def);
}

PF_Err EffectInstance::checkoutLayer(PF_ParamIndex index, A_long id, const PF_RenderRequest& request, A_long time,
                                     PF_CheckoutResult& result) {
  if (phase_ != Phase::PreRender) {
    host_.reportViolation("checkout_layer outside PF_Cmd_SMART_PRE_RENDER");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  if (++layerCheckouts_ == host_.faults.refuseLayerCheckout) return PF_Err_OUT_OF_MEMORY;
  if (index < 0 || std::size_t(index) >= params.count() || params.at(index).definition.param_type != PF_Param_LAYER) {
    host_.reportViolation("checkout_layer of parameter " + std::to_string(index) + ", which is no layer");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  if (checkouts_.count(id)) {
    host_.reportViolation("checkout_layer with id " + std::to_string(id) + " twice in one pre-render");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  result = PF_CheckoutResult{};
  result.par = {1, 1};
  if (const PF_EffectWorld* layer = params.at(index).layer) {
    result.max_result_rect = {0, 0, layer->width, layer->height};
    result.result_rect = intersection(request.rect, result.max_result_rect);
    result.ref_width = layer->width;
    result.ref_height = layer->height;
  }
  checkouts_[id] = LayerCheckout{index, time, request, result};
  return PF_Err_NONE;
}

PF_Err EffectInstance::checkoutLayerPixels(A_long id, PF_EffectWorld** world) {
  *world = nullptr;
  if (phase_ != Phase::SmartRender) {
    host_.reportViolation("checkout_layer_pixels outside PF_Cmd_SMART_RENDER");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  if (++pixelCheckouts_ == host_.faults.refuseLayerPixels) return PF_Err_OUT_OF_MEMORY;
  auto found = checkouts_.find(id);
  if (found == checkouts_.end()) {
    host_.reportViolation("checkout_layer_pixels of id " + std::to_string(id) + ", which the pre-render never checked out");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  auto held = pixels_.find(id);
  if (held != pixels_.end()) {
    *world = held->second;
    return PF_Err_NONE;
  }
  // The pixels of the region the pre-render granted, placed at its corner.
  const PF_LRect rect = found->second.result.result_rect;
  const PF_EffectWorld* layer = params.at(found->second.index).layer;
  PF_EffectWorld* view = layer && !isEmpty(rect) ? host_.makeLayerView(*layer, rect) : nullptr;
  pixels_[id] = view;
  *world = view;
  return PF_Err_NONE;
}

PF_Err EffectInstance::checkinLayerPixels(A_long id) {
  auto held = pixels_.find(id);
  if (phase_ != Phase::SmartRender || held == pixels_.end()) {
    host_.reportViolation("checkin_layer_pixels of id " + std::to_string(id) + ", which is not checked out");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  if (held->second) host_.disposeLayerView(held->second);
  pixels_.erase(held);
  ++pixelCheckins_;
  return PF_Err_NONE;
}

PF_Err EffectInstance::checkoutOutput(PF_EffectWorld** world) {
  *world = nullptr;
  if (phase_ != Phase::SmartRender) {
    host_.reportViolation("checkout_output outside PF_Cmd_SMART_RENDER");
    return PF_Err_BAD_CALLBACK_PARAM;
  }
  if (host_.faults.refuseOutput) return PF_Err_OUT_OF_MEMORY;
  if (!output_) {
    const PF_LRect& rect = renderRequest_.rect;
    output_ = host_.makeLayerWorld(rect.right - rect.left, rect.bottom - rect.top, formatOfOutput(), rect.left,
                                   rect.top);
  }
  *world = output_;
  return PF_Err_NONE;
}

}  // namespace StandIn
