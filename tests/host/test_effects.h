#pragma once
// Effects built in process on the adapter, each reached through an entry
// function exactly as the plug-in's PluginEntry is, to exercise what the
// strobe effect itself does not use: every parameter kind, extra layers,
// pixel work that allocates and reports progress, and every way to fail.

#include <functional>
#include <memory>
#include <string>

#include "host/ae/dispatch.h"
#include "host/ae/parameters.h"
#include "image/filter_layer.h"
#include "image/filters/balance_filter.h"
#include "image/filters/gaussian_blur_filter.h"
#include "image/render_graph.h"

namespace HostTests {

using Host = OZ::Host::AE::Host;
using OZ::Image::Rect;
using namespace OZ::Host::Param;

// What the next call of an effect does beside its work; tests set it.
struct Behaviour {
  std::function<void()> inAbout = [] {};
  std::function<void(Host&)> inRender = [](Host&) {};
  bool usesInputRect = true;
  bool wantsUiUpdates = true;
};
inline Behaviour& behaviour() {
  static Behaviour current;
  return current;
}

// Levels then a Gaussian blur: the chain allocates an intermediate image
// and scratch lines, and reports progress from every band.
class GlowEffect : public Host {
 public:
  static constexpr int kLift = 0, kSpread = 1;
  void about() override { behaviour().inAbout(); }
  void defineParameters(Store& store) override {
    ParamRecord lift;
    lift.kind = kFloat;
    lift.name = "Lift";
    lift.value = lift.defaultValue = ParamValue::ofFloat(0.1);
    lift.validMax = lift.sliderMax = ParamValue::ofFloat(1.0);
    store.records.push_back(lift);
    ParamRecord spread = lift;
    spread.name = "Spread";
    spread.value = spread.defaultValue = ParamValue::ofFloat(2.0);
    spread.validMax = spread.sliderMax = ParamValue::ofFloat(20.0);
    store.records.push_back(spread);
  }
  Rect inputRect(Store& store, const Rect& rect, const Rect& limit, LayerList&) override {
    OZ::Image::FilterLayer<Host> layer(nullptr, limit);
    Chain chain(store, &layer);
    OZ::Image::requestRegion<Host>(&chain.blur, rect);
    return layer.region;
  }
  bool usesInputRect() override { return behaviour().usesInputRect; }
  void renderFrame(Store& store, Image& input, Image& output, Image&, Image**) override {
    behaviour().inRender(*this);
    OZ::Image::FilterLayer<Host> layer(&input, OZ::Image::emptyRect);
    Chain chain(store, &layer);
    OZ::Image::renderGraph<Host>(&chain.blur, this, output);
  }

 private:
  struct Chain {
    Chain(Store& store, OZ::Image::FilterBase<Host>* source)
        : levels(source, true, 0.0f, 1.0f, float(store.getFloat(kLift)), 1.0f, 1.0f),
          blur(&levels, {float(store.getFloat(kSpread)), float(store.getFloat(kSpread)), 0.0f}, 0, 0) {}
    OZ::Image::BalanceFilter<Host> levels;
    OZ::Image::GaussianBlurFilter<Host> blur;
  };
};

// Two layer controls; the render wants both beside the input and adds
// their first bytes into the output's first pixel, so a test sees that
// they arrived.
class LayersEffect : public Host {
 public:
  void defineParameters(Store& store) override {
    ParamRecord layer;
    layer.kind = kLayer;
    layer.name = "First layer";
    store.records.push_back(layer);
    ParamRecord amount;
    amount.kind = kFloat;
    amount.name = "Amount";
    store.records.push_back(amount);
    layer.name = "Second layer";
    layer.flags = kLayerDefaultSelf;
    store.records.push_back(layer);
  }
  Rect inputRect(Store&, const Rect& rect, const Rect&, LayerList& wanted) override {
    for (std::uint64_t layer = 1; layer <= layersWanted; ++layer) wanted.push_back({layer, rect});
    return rect;
  }
  void renderFrame(Store& store, Image& input, Image& output, Image&, Image** extra) override {
    store.getFloat(1);
    behaviour().inRender(*this);
    output.copyFrom(input);
    seen[0] = extra[0]->hasPixels() ? *extra[0]->firstRow() : -1;
    seen[1] = extra[1]->hasPixels() ? *extra[1]->firstRow() : -1;
    boundsSeen[0] = extra[0]->bounds;
    boundsSeen[1] = extra[1]->bounds;
  }
  static inline std::uint64_t layersWanted = 2;  // a third does not exist
  static inline int seen[2];
  static inline Rect boundsSeen[2];
};

// One control of every kind, for the definitions and the value round trips.
class KindsEffect : public Host {
 public:
  // Record positions.
  enum : int { kIntAt, kFloatAt, kAngleAt, kBoolAt, kStringAt, kChoiceAt, kStringChoiceAt, kColorAt, kPointAt,
               kGroupAt, kNoneAt, kGroupEndAt, kLayerAt, kPathAt };
  void defineParameters(Store& store) override;
  bool wantsUiUpdates() override { return behaviour().wantsUiUpdates; }
  bool customUiSize(const ParamRecord& record, std::int32_t& width, std::int32_t& height) override {
    if (record.kind != kColor) return false;
    width = 120;
    height = 24;
    return true;
  }
  void paramsChanged(Store&, std::int32_t recordIndex) override { changedRecords.push_back(recordIndex); }
  void renderFrame(Store&, Image&, Image&, Image&, Image**) override {}
  static inline std::vector<std::int32_t> changedRecords;
};

inline void KindsEffect::defineParameters(Store& store) {
  auto add = [&](std::uint32_t kind, const char* name) -> ParamRecord& {
    ParamRecord record;
    record.kind = kind;
    record.name = name;
    store.records.push_back(record);
    return store.records.back();
  };
  ParamRecord& count = add(kInt, "Count");
  count.value = ParamValue::ofInt(7);
  count.defaultValue = ParamValue::ofInt(5);
  count.validMin = ParamValue::ofInt(-10);
  count.validMax = ParamValue::ofInt(10);
  count.sliderMin = ParamValue::ofInt(0);
  count.sliderMax = ParamValue::ofInt(8);
  count.flags = kOldProjectValue | kNoInterp;
  ParamRecord& level = add(kFloat, "Level");
  level.value = ParamValue::ofFloat(0.25);
  level.defaultValue = ParamValue::ofFloat(0.1);
  level.validMax = level.sliderMax = ParamValue::ofFloat(2.0);
  level.flags = kPercent | kSupervise;
  ParamRecord& turn = add(kFloat, "Turn");
  turn.defaultValue = ParamValue::ofFloat(45.5);
  turn.flags = kAngle | kHidden;
  ParamRecord& flip = add(kBool, "Flip");
  flip.defaultValue = ParamValue::ofBool(true);
  ParamRecord& caption = add(kString, "Caption");
  caption.defaultValue = ParamValue::ofText("hello");
  caption.flags = kNoInterp | kSupervise;
  ParamRecord& mode = add(kChoice, "Mode");
  mode.labels = {"Soft", "Hard", "Odd"};
  mode.defaultValue = ParamValue::ofInt(2);
  ParamRecord& look = add(kStringChoice, "Look");
  look.labels = {"Warm", "Cold"};
  look.defaultValue = ParamValue::ofText("Cold");
  look.value = ParamValue::ofText("Nowhere");
  ParamRecord& tint = add(kColor, "Tint");
  tint.defaultValue = ParamValue::ofColor({1.0, 0.5, 0.25});
  ParamRecord& centre = add(kPoint, "Centre");
  centre.defaultValue = ParamValue::ofPoint({0.5, 0.257});
  centre.value = ParamValue::ofPoint({0.75, 0.125});
  centre.validMax = ParamValue::ofPoint({1.0, 1.0});
  centre.flags = kOldProjectValue;
  add(kGroupStart, "Group").flags = kCollapsed;
  add(kNone, "Nothing");
  add(kGroupEnd, "Group end");
  add(kLayer, "Matte").flags = kLayerDefaultSelf;
  add(kPath, "Path");
}

template <class Effect>
PF_Err entryOf(PF_Cmd command, PF_InData* in, PF_OutData* out, PF_ParamDef* params[], PF_LayerDef* output,
               void* extra) {
  return OZ::Host::AE::runPluginEntry<Effect>(command, in, out, params, output, extra, nullptr);
}

}  // namespace HostTests
