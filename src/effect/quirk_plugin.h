#pragma once
// The effect. A class template over the host adapter, so the same effect can
// stand on any adapter that offers the same operations; QuirkPluginAE binds
// it to the After Effects adapter. Every query builds its graph from
// nothing, uses it once and destroys it: a frame's look depends only on its
// number and the control values.

#include <cstdint>
#include <string>

#include "effect/effect_graph.h"
#include "effect/pulse_schedule.h"
#include "effect/quirk_controls.h"
#include "image/blend/blend_filter.h"
#include "image/clear_filter.h"
#include "image/exception.h"
#include "image/filter_layer.h"
#include "image/filters/balance_filter.h"
#include "image/filters/gaussian_blur_filter.h"
#include "image/filters/hsvcc_filter.h"
#include "image/filters/premult_alpha_filter.h"
#include "image/filters/unmult_alpha_filter.h"
#include "image/render_graph.h"
#include "platform/alert.h"

namespace StrobeQuirk {

// What effectCode writes: an identity for hosts that ask.
struct EffectCode {
  std::uint64_t code;
  std::uint32_t variant;
};

template <class Host>
class QuirkPlugin : public Host {
 public:
  using Store = typename Host::Store;
  using Image = typename Host::Image;
  using LayerList = typename Host::LayerList;
  using Rect = OZ::Image::Rect;
  using Node = OZ::Image::FilterBase<Host>;
  using Layer = OZ::Image::FilterLayer<Host>;

  void about() override {
    std::string text = std::string(effectName()) + " " + effectVersion() +
                       "\nCopyright 2026 the Strobe Quirk developers. All rights reserved.\n"
                       "\nProgramming: the Strobe Quirk developers.\n"
                       "\nProduct design and management: the Strobe Quirk developers.";
    aboutExtra(text);
    showAbout(text, "Strobe Quirk");
  }
  void defineParameters(Store& store) override { defineQuirkControls(store); }
  void prepareFrame(Store&, const Rect&) override {}
  void prepareFrameBounds(Store&, const Rect&) override {}

  void renderFrame(Store& store, Image& source, Image& output, Image&, Image**) override {
    Layer layer(&source, OZ::Image::emptyRect);
    EffectGraph<Host> graph(this, &layer);
    Node* root = buildGraph(graph, store, false, false);
    OZ::Image::renderGraph(root, static_cast<Host*>(this), output);
  }

  // The part of the source that the output rect needs; empty when the frame
  // needs no source pixels at all.
  Rect inputRect(Store& store, const Rect& rect, const Rect& limit, LayerList&) override {
    Layer layer(nullptr, limit);
    EffectGraph<Host> graph(this, &layer);
    Node* root = buildGraph(graph, store, false, false);
    OZ::Image::requestRegion(root, rect);
    return layer.region;
  }

  void maxTileSize(Store&, std::int32_t& width, std::int32_t& height) override { width = height = 1024; }

  virtual void prepareGraph() {}

  // 0 when this frame's graph is the source unchanged, -1 otherwise.
  virtual std::int32_t identityLayer(Store& store, const Rect& /*ignored*/, const Rect& limit) {
    Layer layer(nullptr, limit);
    EffectGraph<Host> graph(this, &layer);
    return buildGraph(graph, store, false, false) == &layer ? 0 : -1;
  }

  virtual const char* effectName() { return "Strobe Quirk"; }
  virtual const char* effectSummary() { return "Strobe creation"; }
  virtual const char* effectVersion() { return "1.0"; }
  virtual void effectCode(EffectCode& code) {
    code.code = 1;
    code.variant = 0;
  }
  virtual void aboutExtra(std::string& text) { text += ""; }
  virtual void showAbout(const std::string& text, const std::string& title) {
    Platform::showAlert(nullptr, text.c_str(), title.c_str(), Platform::kAlertOk);
  }
  virtual bool isReady() { return true; }

  // The pulse of this query's frame: 1.0 on a pulse, 0.0 in a gap.
  float frameOpacity(Store& store, EffectGraph<Host>& graph) {
    const PulseSettings settings = pulseSettings(store.getFloat(kQuirkTimeIndex), store.getFloat(kRandomQuirkIndex));
    PulseWalk walk{0.0f, graph.random};
    return pulseOpacity(float(this->currentFrame()), settings, walk);
  }

  // The root of this query's graph: a hard levels step on the source, no
  // colour, a wide blur, and the source shown through that mask by its
  // luma. unmultiply and premultiply wrap the chain for premultiplied input;
  // the effect itself never sets them.
  Node* buildGraph(EffectGraph<Host>& graph, Store& store, bool unmultiply, bool premultiply) {
    using namespace OZ::Image;
    const float opacity = frameOpacity(store, graph);
    float factorX, factorY;
    this->getDownsample(factorX, factorY);

    Node* current = graph.source;
    if (unmultiply) current = graph.template make<UnmultAlphaFilter<Host>>(current);
    const bool increase = store.getBool(kIncreaseQuirkyIndex);
    Node* levels = graph.template make<BalanceFilter<Host>>(current, true, 0.11f, 0.165f, 0.0f,
                                                            increase ? 0.2f : 1.0f, 1.0f);
    Node* grey = graph.template make<HSVCCFilter<Host>>(levels, 0.0f, 0.0f, 1.0f);
    // The deviation is in full-size pixels; a downsampled frame blurs less.
    const float sigma = increase ? 15.0f : 30.0f;
    Node* blur = graph.template make<GaussianBlurFilter<Host>>(grey, BlurSigmas{sigma * factorX, sigma * factorY, 0.0f},
                                                               0, 0);

    if (!store.getBool(kUnmaskedIndex)) {
      current = graph.template make<BlendFilter<Host>>(current, blur, BlendStencilLuma, opacity);
    } else if (opacity < 1.0f) {
      // The mask chain above is left unreached; the graph prunes it before
      // any pixel moves. The schedule gives only 0 and 1, so the fade
      // between them is never built by the effect itself.
      Node* clear = graph.template make<ClearFilter<Host>>();
      if (!(opacity > 0.0f)) return clear;
      current = graph.template make<BlendFilter<Host>>(current, clear, BlendNormal, opacity);
    } else if (unmultiply == premultiply) {
      return graph.source;
    }
    if (premultiply) current = graph.template make<PremultAlphaFilter<Host>>(current);
    return current;
  }
};

}  // namespace StrobeQuirk
