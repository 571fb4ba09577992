// The effect as a frei0r filter: the nine functions of the frei0r 1.x
// interface and nothing else visible. No exception leaves them; whatever a
// host passes that makes no sense is refused and changes nothing.

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

// The interface's declarations give the functions their C names and make
// them visible; everything else in the module stays hidden.
extern "C" {
#pragma GCC visibility push(default)
#include <frei0r.h>
#pragma GCC visibility pop
}

#include "effect/quirk_plugin.h"
#include "host/frei0r/instance.h"

template class StrobeQuirk::QuirkPlugin<OZ::Host::Frei0r::Host>;

namespace {

using Effect = StrobeQuirk::QuirkPlugin<OZ::Host::Frei0r::Host>;
using OZ::Host::Frei0r::Instance;
using OZ::Host::Frei0r::ParamEntry;

// What a host shows beside the effect's own controls, in their order.
const char* const kEffectExplanations[] = {
    "Mean number of frames between the end of one pulse and the start of the next (1 to 100)",
    "Percentage by which that gap varies at random (0 to 100)",
    "The stronger, tighter look: a darker threshold and half the blur",
    "The frame itself strobes, rather than its glow",
};

// What the host is told about the plug-in. Hosts keep the text pointers, so
// the texts live as long as the module.
struct Description {
  std::string name;
  std::string explanation;
  int majorVersion = 1;
  int minorVersion = 0;
  std::vector<ParamEntry> controls;
};

Description describe() {
  Effect effect;
  Description description;
  description.name = effect.effectName();
  description.explanation = effect.effectSummary();
  char* end = nullptr;
  const char* version = effect.effectVersion();
  description.majorVersion = int(std::strtol(version, &end, 10));
  if (end && *end == '.') description.minorVersion = int(std::strtol(end + 1, nullptr, 10));

  OZ::Host::Param::Parameters store;
  OZ::Host::Frei0r::defineAllControls(effect, store);
  std::vector<std::string> explanations(std::begin(kEffectExplanations), std::end(kEffectExplanations));
  explanations.insert(explanations.end(), std::begin(OZ::Host::Frei0r::kAdapterControlExplanations),
                      std::end(OZ::Host::Frei0r::kAdapterControlExplanations));
  description.controls = OZ::Host::Frei0r::describeControls(store, explanations);
  return description;
}

// Built on first use: hosts ask for the plug-in's description before
// f0r_init, or never call it. A failed build is tried again next time.
const Description* description() noexcept {
  try {
    static const Description built = describe();
    return &built;
  } catch (...) {
    return nullptr;
  }
}

Instance* instanceOf(f0r_instance_t instance) { return static_cast<Instance*>(instance); }

}  // namespace

// Nothing global to set up or tear down: hosts call these any number of
// times, or not at all.
int f0r_init() { return 1; }

void f0r_deinit() {}

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
  const Description* plugin = description();
  if (!info || !plugin) return;
  info->name = plugin->name.c_str();
  info->author = "the Strobe Quirk developers";
  info->plugin_type = F0R_PLUGIN_TYPE_FILTER;
  // The image library's own 8-bit layout, which ffmpeg, MLT and GStreamer
  // all hand over as declared: no conversion on the way in or out.
  info->color_model = F0R_COLOR_MODEL_BGRA8888;
  info->frei0r_version = FREI0R_MAJOR_VERSION;
  info->major_version = plugin->majorVersion;
  info->minor_version = plugin->minorVersion;
  info->num_params = int(plugin->controls.size());
  info->explanation = plugin->explanation.c_str();
}

void f0r_get_param_info(f0r_param_info_t* info, int param_index) {
  const Description* plugin = description();
  if (!info || !plugin || param_index < 0 || std::size_t(param_index) >= plugin->controls.size()) return;
  const ParamEntry& entry = plugin->controls[std::size_t(param_index)];
  info->name = entry.name.c_str();
  info->type = entry.type;
  info->explanation = entry.explanation.c_str();
}

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
  if (!Instance::acceptsSize(width, height)) return nullptr;
  try {
    return new Instance(std::make_unique<Effect>(), width, height);
  } catch (...) {
    return nullptr;
  }
}

void f0r_destruct(f0r_instance_t instance) { delete instanceOf(instance); }

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int param_index) {
  if (!instance) return;
  try {
    instanceOf(instance)->setControl(param_index, param);
  } catch (...) {
  }
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int param_index) {
  if (!instance) return;
  try {
    instanceOf(instance)->getControl(param_index, param);
  } catch (...) {
  }
}

void f0r_update(f0r_instance_t instance, double time, const uint32_t* inframe, uint32_t* outframe) {
  if (!instance) return;
  instanceOf(instance)->update(time, inframe, outframe);
}
