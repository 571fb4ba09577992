// PluginEntry, linked in, driven through the stand-in host the way the
// application drives it, with all the application's choices taken from the
// input: the kind of host and its suites, a small frame's size, format and
// pixels, the controls, the time, the downsample factors, request
// rectangles, other commands, and a fault somewhere in a command.
//
// Whatever comes, the plug-in keeps every rule the stand-in checks, gives
// back every checkout and holds no handle or world between two calls. With
// no fault armed every frame renders, over the part of the request that
// the layer covers; with one, a command ends in its code or gets through.
//
// The kernels run at any level the processor has. The input stays within what a host sends: a non-zero time step, frames
// short of the float schedule's coarse range, rectangles well inside 32
// bits, and commands in their order (setup first, a render only after it).

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "image/filters/processor_flags.h"
#include "image/pixel_format.h"
#include "standin/alert_capture.h"
#include "standin/effect_instance.h"
#include "standin/standin_host.h"

extern "C" PF_Err PluginEntry(PF_Cmd command, PF_InData* inData, PF_OutData* outData, PF_ParamDef* params[],
                              PF_LayerDef* output, void* extra);

namespace {

using OZ::Image::formatCode;
using OZ::Image::PixelFormatCode;

// The first, a float, and the two check boxes by host index.
constexpr PF_ParamIndex kQuirkTime = 1, kIncreaseQuirky = 3, kUnmasked = 4;

constexpr std::int32_t kLargestSide = 24;
constexpr A_long kLastFrame = 20000;
constexpr A_long kRectReach = 1 << 20;

// PLUGIN_ENTRY_TRACE=1 in the environment prints each step of a replay.
void trace(const char* format, ...) __attribute__((format(printf, 1, 2)));
void trace(const char* format, ...) {
  static const bool enabled = std::getenv("PLUGIN_ENTRY_TRACE") != nullptr;
  if (!enabled) return;
  va_list arguments;
  va_start(arguments, format);
  std::vfprintf(stderr, format, arguments);
  va_end(arguments);
  std::fputc('\n', stderr);
}

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "plugin_entry: %s\n", what.c_str());
  std::abort();
}

void expect(bool holds, const std::string& what) {
  if (!holds) fail(what);
}

StandIn::Settings hostSettings(FuzzedDataProvider& in) {
  StandIn::Settings settings;
  switch (in.ConsumeIntegralInRange(0, 2)) {
    case 0: break;
    case 1: settings.applicationId = StandIn::kPremiereId; break;
    default: settings.applicationId = in.ConsumeIntegral<A_long>(); break;
  }
  settings.versionMajor = in.ConsumeIntegralInRange<A_short>(8, 18);
  // Each suite present or not; most inputs keep most. The handle callbacks
  // stay: a 64-bit host always has them, and only 32-bit builds fall back.
  const std::uint16_t missing = in.ConsumeBool() ? in.ConsumeIntegral<std::uint16_t>() : 0;
  bool* switches[] = {&settings.basicSuite,       &settings.colorParamSuite,   &settings.angleParamSuite,
                      &settings.paramUtilsSuite,  &settings.worldSuite,        &settings.pixelFormatSuite1,
                      &settings.pixelFormatSuite2, &settings.renderSuite,      &settings.layerRenderOptionsSuite,
                      &settings.utilitySuite,     &settings.opaqueEffectDataSuite, &settings.iterateGeneric};
  for (std::size_t i = 0; i < std::size(switches); ++i)
    if (missing & (1u << i)) *switches[i] = false;
  settings.iterations = in.ConsumeIntegralInRange(0, 4);
  trace("host %08x version %d, missing %04x, iterations %d", unsigned(settings.applicationId),
        settings.versionMajor, unsigned(missing), settings.iterations);
  return settings;
}

// A layer of the application's with pixels from the input, repeated when
// the input runs short.
PF_EffectWorld* makeLayer(StandIn::StandInHost& host, FuzzedDataProvider& in) {
  // The classic formats first: a host without the World suite has no others.
  static const PixelFormatCode formats[] = {formatCode("argb"), formatCode("ae16"), formatCode("ae32"),
                                            formatCode("bgra"), formatCode("Argb"), formatCode("Bgra"),
                                            formatCode("ARgb"), formatCode("BGra")};
  const std::int32_t width = in.ConsumeIntegralInRange(1, kLargestSide);
  const std::int32_t height = in.ConsumeIntegralInRange(1, kLargestSide);
  const std::size_t offered = host.settings().worldSuite ? std::size(formats) : 3;
  const PixelFormatCode format = formats[in.ConsumeIntegralInRange<std::size_t>(0, offered - 1)];
  PF_EffectWorld* world = host.makeLayerWorld(width, height, format, 0, 0, in.ConsumeBool());
  trace("layer %dx%d, format %08x", width, height, unsigned(format));
  const std::size_t row = std::size_t(width) * std::size_t(OZ::Image::bytesPerPixel(OZ::Image::formatDepth(format)));
  std::vector<std::uint8_t> pattern = in.ConsumeBytes<std::uint8_t>(in.ConsumeIntegralInRange<std::size_t>(1, 64));
  if (pattern.empty()) pattern.push_back(0x80);
  std::size_t at = 0;
  for (std::int32_t y = 0; y < height; ++y) {
    auto* bytes = reinterpret_cast<std::uint8_t*>(world->data) + std::ptrdiff_t(y) * world->rowbytes;
    for (std::size_t i = 0; i < row; ++i) bytes[i] = pattern[at++ % pattern.size()];
  }
  return world;
}

double anyDouble(FuzzedDataProvider& in) {
  const std::uint64_t bits = in.ConsumeIntegral<std::uint64_t>();
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

void setControl(StandIn::EffectInstance& effect, FuzzedDataProvider& in, A_long now) {
  const PF_ParamIndex index = in.ConsumeIntegralInRange<PF_ParamIndex>(kQuirkTime, kUnmasked);
  const int how = in.ConsumeIntegralInRange(0, 2);
  if (index == kIncreaseQuirky || index == kUnmasked) {
    const bool on = in.ConsumeBool();
    trace("control %d %s (%s)", index, on ? "on" : "off", how == 2 ? "keyframe" : "now");
    if (how == 2)
      effect.params.keyframe(index, now + in.ConsumeIntegralInRange<A_long>(-10, 10)).u.bd.value = on;
    else
      effect.params.setBool(index, on);
    return;
  }
  // Typed by a user (held to the control's range), any bits at all (a host
  // bug), or a keyframe at a nearby time.
  if (how == 0) effect.params.enterFloat(index, in.ConsumeFloatingPoint<double>());
  if (how == 1) effect.params.setFloat(index, anyDouble(in));
  if (how == 2)
    effect.params.keyframe(index, now + in.ConsumeIntegralInRange<A_long>(-10, 10)).u.fs_d.value =
        in.ConsumeFloatingPointInRange<double>(-10.0, 200.0);
  trace("control %d = %g (%s)", index, effect.params.at(index).definition.u.fs_d.value,
        how == 2 ? "keyframe" : "now");
}

void setTime(StandIn::StandInHost& host, FuzzedDataProvider& in) {
  A_long step = in.ConsumeIntegralInRange<A_long>(1, 1001);
  if (in.ConsumeBool()) step = -step;  // a layer played backwards
  const A_long frame = in.ConsumeIntegralInRange<A_long>(-100, kLastFrame);
  const A_long within = in.ConsumeIntegralInRange<A_long>(0, std::abs(step) - 1);
  host.setTime(frame * step + within, step, in.ConsumeIntegralInRange<A_u_long>(1, 120000));
  trace("time %d, step %d", host.inData()->current_time, step);
}

void setInData(StandIn::StandInHost& host, FuzzedDataProvider& in) {
  PF_InData& data = *host.inData();
  auto scale = [&in]() {
    return PF_RationalScale{in.ConsumeIntegralInRange<A_long>(-1, 16), in.ConsumeIntegralInRange<A_u_long>(0, 16)};
  };
  switch (in.ConsumeIntegralInRange(0, 2)) {
    case 0:
      data.downsample_x = scale();
      data.downsample_y = scale();
      trace("downsample %d/%u, %d/%u", data.downsample_x.num, data.downsample_x.den, data.downsample_y.num,
            data.downsample_y.den);
      break;
    case 1:
      data.quality = in.ConsumeIntegralInRange<PF_Quality>(-1, 1);
      data.field = in.ConsumeIntegralInRange<PF_Field>(0, 2);
      data.shutter_angle = in.ConsumeIntegral<PF_Fixed>();
      data.in_flags = in.ConsumeIntegral<PF_InFlags>();
      break;
    default:
      data.pixel_aspect_ratio = scale();
      data.total_time = in.ConsumeIntegral<A_long>();
      data.output_origin_x = in.ConsumeIntegralInRange<A_long>(-kRectReach, kRectReach);
      data.output_origin_y = in.ConsumeIntegralInRange<A_long>(-kRectReach, kRectReach);
      break;
  }
}

PF_LRect requestRect(FuzzedDataProvider& in, const PF_EffectWorld& layer) {
  if (in.ConsumeBool()) return {0, 0, layer.width, layer.height};
  auto edge = [&in](A_long near) {
    return in.ConsumeBool() ? in.ConsumeIntegralInRange<A_long>(near - 40, near + 40)
                            : in.ConsumeIntegralInRange<A_long>(-kRectReach, kRectReach);
  };
  const A_long left = edge(0), top = edge(0);
  return {left, top, edge(layer.width), edge(layer.height)};
}

enum class Fault { None, World, Handle, Lock, Copy, Fill, Abort, Progress, LayerCheckout, LayerPixels, Output };

// One fault, armed to strike at its Nth chance from now.
Fault armFault(StandIn::StandInHost& host, const StandIn::EffectInstance& effect, FuzzedDataProvider& in) {
  const Fault fault = Fault(in.ConsumeIntegralInRange(1, int(Fault::Output)));
  const int n = in.ConsumeIntegralInRange(1, 40);
  trace("fault %d at %d", int(fault), n);
  StandIn::Faults& faults = host.faults;
  switch (fault) {
    case Fault::World: faults.refuseWorld = host.worldRequests() + n; break;
    case Fault::Handle: faults.refuseHandle = host.handleRequests() + n; break;
    case Fault::Lock: faults.refuseLock = true; break;
    case Fault::Copy: faults.copyError = PF_Err_INTERNAL_STRUCT_DAMAGED; break;
    case Fault::Fill: faults.fillError = PF_Err_BAD_CALLBACK_PARAM; break;
    case Fault::Abort: faults.abortOnCall = host.abortCalls() + n; break;
    case Fault::Progress: faults.abortOnProgress = int(host.progressTrace().size()) + n; break;
    case Fault::LayerCheckout: faults.refuseLayerCheckout = effect.layerCheckouts() + n; break;
    case Fault::LayerPixels: faults.refuseLayerPixels = effect.pixelCheckouts() + n; break;
    case Fault::Output: faults.refuseOutput = true; break;
    case Fault::None: break;
  }
  return fault;
}

// What a command may end in: success, or the code of the fault armed.
void expectResult(PF_Err result, Fault fault, const char* command) {
  if (result == PF_Err_NONE) return;
  const std::string what = std::string(command) + " gave " + std::to_string(result);
  switch (fault) {
    case Fault::None: fail(what + " with no fault armed");
    case Fault::World:
    case Fault::Handle:
    case Fault::LayerCheckout:
    case Fault::LayerPixels:
    case Fault::Output: expect(result == PF_Err_OUT_OF_MEMORY, what + " for a refusal"); break;
    case Fault::Lock: expect(result == PF_Err_OUT_OF_MEMORY || result == PF_Err_UNRECOGNIZED_PARAM_TYPE, what + " for a lock"); break;
    case Fault::Copy: expect(result == PF_Err_INTERNAL_STRUCT_DAMAGED, what + " for a failed copy"); break;
    case Fault::Fill: expect(result == PF_Err_BAD_CALLBACK_PARAM, what + " for a failed fill"); break;
    case Fault::Abort:
    case Fault::Progress: expect(result == PF_Interrupt_CANCEL, what + " for an abort"); break;
  }
}

bool contains(const PF_LRect& outer, const PF_LRect& inner) {
  return inner.left >= outer.left && inner.top >= outer.top && inner.right <= outer.right &&
         inner.bottom <= outer.bottom;
}

bool isEmpty(const PF_LRect& rect) { return rect.left >= rect.right || rect.top >= rect.bottom; }

void smartFrame(StandIn::EffectInstance& effect, const PF_EffectWorld& layer, FuzzedDataProvider& in, Fault fault) {
  const PF_LRect request = requestRect(in, layer);
  trace("smart render of %d,%d to %d,%d", request.left, request.top, request.right, request.bottom);
  const StandIn::SmartFrame frame = effect.smartRender(request);
  expectResult(frame.result(), fault, "a smart render");
  // The input (checkout id 0) ends with the command; any other is given back.
  for (A_long id : frame.pixelsNotCheckedIn) expect(id == 0, "the smart render left an extra layer checked out");
  if (frame.result() != PF_Err_NONE) return;
  expect(isEmpty(frame.resultRect) || contains(request, frame.resultRect), "the result lies outside the request");
  expect(isEmpty(frame.resultRect) || contains({0, 0, layer.width, layer.height}, frame.resultRect),
         "the result lies outside the layer");
  if (!frame.rendered) return;
  expect(frame.output != nullptr, "a rendered frame without output");
  expect(frame.output->width == frame.resultRect.right - frame.resultRect.left &&
             frame.output->height == frame.resultRect.bottom - frame.resultRect.top,
         "the output does not cover the result");
}

// The pre-render alone, over an output the host preset.
void preRenderAlone(StandIn::EffectInstance& effect, const PF_EffectWorld& layer, FuzzedDataProvider& in,
                    Fault fault) {
  PF_PreRenderInput input{};
  input.output_request.rect = requestRect(in, layer);
  input.output_request.field = PF_Field_FRAME;
  input.output_request.channel_mask = in.ConsumeIntegral<PF_ChannelMask>();
  input.bitdepth = in.PickValueInArray<short>({8, 16, 32});
  PF_PreRenderOutput output{};
  if (in.ConsumeBool()) output.result_rect = requestRect(in, layer);
  if (in.ConsumeBool()) output.max_result_rect = requestRect(in, layer);
  expectResult(effect.smartPreRender(input, output), fault, "a pre-render");
  if (output.delete_pre_render_data_func) output.delete_pre_render_data_func(output.pre_render_data);
}

void classicRender(StandIn::StandInHost& host, StandIn::EffectInstance& effect, const PF_EffectWorld& layer,
                   Fault fault) {
  trace("classic render");
  PF_EffectWorld* output = host.makeLayerWorld(layer.width, layer.height, host.formatOf(layer));
  const PF_Err result = effect.render(*output);
  host.disposeLayerWorld(output);
  expectResult(result, fault, "a classic render");
}

void otherCommand(StandIn::EffectInstance& effect, FuzzedDataProvider& in) {
  // Commands the plug-in has no handler for, with nothing passed.
  static const PF_Cmd unhandled[] = {
      PF_Cmd_UNUSED_0,       PF_Cmd_GLOBAL_SETDOWN,      PF_Cmd_SEQUENCE_SETUP,  PF_Cmd_SEQUENCE_RESETUP,
      PF_Cmd_SEQUENCE_FLATTEN, PF_Cmd_SEQUENCE_SETDOWN,  PF_Cmd_DO_DIALOG,       PF_Cmd_FRAME_SETUP,
      PF_Cmd_FRAME_SETDOWN,  PF_Cmd_EVENT,               PF_Cmd_GET_EXTERNAL_DEPENDENCIES,
      PF_Cmd_COMPLETELY_GENERAL, PF_Cmd_QUERY_DYNAMIC_FLAGS, PF_Cmd_AUDIO_RENDER, PF_Cmd_AUDIO_SETUP,
      PF_Cmd_AUDIO_SETDOWN,  PF_Cmd_RESERVED1,           PF_Cmd_RESERVED2,       PF_Cmd_RESERVED3,
      PF_Cmd_GET_FLATTENED_SEQUENCE_DATA, PF_Cmd_TRANSLATE_PARAMS_TO_PREFS, PF_Cmd_RESERVED4,
      PF_Cmd_SMART_RENDER_GPU, PF_Cmd_GPU_DEVICE_SETUP,  PF_Cmd_GPU_DEVICE_SETDOWN, PF_Cmd_NUM_CMDS};
  const PF_Cmd command = in.ConsumeBool() ? in.PickValueInArray(unhandled) : in.ConsumeIntegral<PF_Cmd>();
  if (command >= PF_Cmd_ABOUT && command < PF_Cmd_NUM_CMDS &&
      std::find(std::begin(unhandled), std::end(unhandled), command) == std::end(unhandled))
    return;
  expect(effect.call(command, nullptr, nullptr, nullptr) == PF_Err_NONE, "a command without a handler failed");
}

// Nothing of the plug-in's may outlive a command.
void expectNothingHeld(StandIn::StandInHost& host, StandIn::EffectInstance& effect, const char* after) {
  const std::vector<std::string> violations = host.violations();
  if (!violations.empty()) fail(std::string("after ") + after + ": " + violations.front());
  expect(effect.params.outstanding() == 0, std::string("parameters still checked out after ") + after);
  expect(host.liveHandles() == 0, std::string("handles left after ") + after);
  expect(host.liveWorlds() == 0, std::string("worlds left after ") + after);
}

// Kernels of every level the processor has, down to the scalar ones.
void holdToLevel(FuzzedDataProvider& in) {
  using namespace OZ::Image;
  static const ProcessorFlags masks[] = {~ProcessorFlags(0), ~kFlagAVX, kFlagSSSE3 | kFlagSSE2, kFlagSSE2, 0};
  restrictProcessorFlags(in.PickValueInArray(masks));
}

void run(FuzzedDataProvider& in) {
  holdToLevel(in);
  StandIn::StandInHost host(hostSettings(in));
  StandIn::EffectInstance effect(host, PluginEntry);
  const StandIn::OwnedWorld owned(makeLayer(host, in), StandIn::WorldDisposer{&host});
  PF_EffectWorld* layer = owned.get();
  expect(effect.apply() == PF_Err_NONE, "setup failed: " + effect.message());
  // The parameter list starts afresh in setup; the layer comes after.
  effect.params.setLayer(0, layer);
  expectNothingHeld(host, effect, "setup");

  for (int step = 0; step < 12 && in.remaining_bytes() > 0; ++step) {
    const Fault fault = in.ConsumeBool() && in.ConsumeBool() ? armFault(host, effect, in) : Fault::None;
    const char* command = "a change";
    const int action = in.ConsumeIntegralInRange(0, 11);
    if (action >= 7) trace("command of kind %d", action);
    switch (action) {
      case 0: setControl(effect, in, host.inData()->current_time); break;
      case 1: setTime(host, in); break;
      case 2: setInData(host, in); break;
      case 3:
      case 4:
        command = "a smart render";
        smartFrame(effect, *layer, in, fault);
        break;
      case 5:
        command = "a pre-render";
        preRenderAlone(effect, *layer, in, fault);
        break;
      case 6:
        command = "a classic render";
        classicRender(host, effect, *layer, fault);
        break;
      case 7:
        command = "PF_Cmd_USER_CHANGED_PARAM";
        expectResult(effect.userChangedParam(in.ConsumeIntegralInRange<PF_ParamIndex>(0, kUnmasked)), fault, command);
        break;
      case 8:
        command = "PF_Cmd_UPDATE_PARAMS_UI";
        expectResult(effect.updateParamsUI(), fault, command);
        break;
      case 9:
        command = "PF_Cmd_ABOUT";
        StandIn::captureAlerts([&] { expectResult(effect.about(), fault, command); });
        break;
      case 10:
        command = "setup again";
        expectResult(effect.apply(), fault, command);
        effect.params.setLayer(0, layer);
        break;
      default:
        command = "a command without a handler";
        otherCommand(effect, in);
        break;
    }
    expectNothingHeld(host, effect, command);
    host.faults = StandIn::Faults{};
    if (effect.params.count() != 5) return;  // a refused setup: the application drops the effect
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  run(in);
  return 0;
}
