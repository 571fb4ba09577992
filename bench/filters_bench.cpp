// Whole filters as the effect runs them: a graph layer → filter → output
// through the stand-in host, on 1 or 2 of the host's threads, at each
// processor level, beside a plain copy of the same frame. The "chain" rows
// render the effect's whole masked graph in process, once by the general
// path, with some of the shortcuts that keep every byte (image/shortcuts.h)
// and with all of them.
//
//   build/x64/bench/oz_bench --benchmark_filter=balance
//   valgrind --tool=callgrind --toggle-collect='*renderChainFrame*'
//       build/x64/bench/oz_bench --benchmark_filter='chain/shortcuts/depth:8/threads:1' --benchmark_min_time=0

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "effect/quirk_plugin_ae.h"
#include "image/filter_layer.h"
#include "image/filters/balance_filter.h"
#include "image/filters/gaussian_blur_filter.h"
#include "image/filters/hsvcc_filter.h"
#include "image/filters/premult_alpha_filter.h"
#include "image/filters/processor_flags.h"
#include "image/render_graph.h"
#include "image/shortcuts.h"
#include "standin/standin_host.h"

namespace {

using Host = OZ::Host::AE::Host;
using Node = OZ::Image::FilterBase<Host>;
using MakeFilter = std::function<std::unique_ptr<Node>(Node*)>;
using OZ::Image::formatCode;

struct Frame {
  // Opaque, as footage is, or with alpha as random as the colour.
  Frame(OZ::Image::PixelFormatCode format, int width, int height, int iterations, bool opaque = false)
      : standIn([&] {
          StandIn::Settings settings;
          settings.iterations = iterations;
          settings.poisonWorlds = false;  // the application hands out worlds as they come
          return settings;
        }()) {
    host.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
    input = standIn.makeLayerWorld(width, height, format);
    output = standIn.makeLayerWorld(width, height, format);
    // Values in each format's own range: floats from 0 to 1, not raw bytes,
    // which would make denormals and slow every float kernel down.
    std::mt19937 generator(1);
    const int depth = OZ::Image::formatDepth(format);
    const int alpha = OZ::Image::channelOrder(format) == OZ::Image::ChannelOrder::AlphaFirst ? 0 : 3;
    auto* row = reinterpret_cast<unsigned char*>(input->data);
    for (int y = 0; y < height; ++y, row += input->rowbytes)
      for (int i = 0; i < width * 4; ++i) {
        const std::uint32_t value = generator() >> 24;
        const bool white = opaque && i % 4 == alpha;
        if (depth == 8) row[i] = static_cast<unsigned char>(white ? 255 : value);
        if (depth == 16)
          reinterpret_cast<std::uint16_t*>(row)[i] = static_cast<std::uint16_t>(white ? 32768 : value * 128);
        if (depth == 32) reinterpret_cast<float*>(row)[i] = white ? 1.0f : float(value) / 255.0f;
      }
  }
  ~Frame() {
    standIn.disposeLayerWorld(input);
    standIn.disposeLayerWorld(output);
  }
  StandIn::StandInHost standIn;
  StrobeQuirk::QuirkPluginAE host;
  PF_EffectWorld* input;
  PF_EffectWorld* output;
};

OZ::Image::PixelFormatCode formatOfDepth(int depth) {
  return depth == 8 ? formatCode("bgra") : depth == 16 ? formatCode("Bgra") : formatCode("BGra");
}

void runFilter(benchmark::State& state, const MakeFilter& make, OZ::Image::ProcessorFlags mask) {
  const int depth = int(state.range(0)), iterations = int(state.range(1)), width = int(state.range(2));
  const int height = width * 9 / 16;
  const OZ::Image::ProcessorFlags needed = mask == ~OZ::Image::ProcessorFlags(0) ? 0 : mask;  // auto needs nothing
  if ((OZ::Image::queryProcessorFlags() & needed) != needed) {
    state.SkipWithError("processor lacks the level");
    return;
  }
  Frame frame(formatOfDepth(depth), width, height, iterations);
  OZ::Image::restrictProcessorFlags(mask);
  for (auto _ : state) {
    Host::Image source(&frame.host, frame.input), target(&frame.host, frame.output);
    OZ::Image::FilterLayer<Host> layer(&source, OZ::Image::emptyRect);
    std::unique_ptr<Node> filter = make(&layer);
    OZ::Image::renderGraph<Host>(filter.get(), &frame.host, target);
    benchmark::DoNotOptimize(frame.output->data);
  }
  OZ::Image::restrictProcessorFlags(~OZ::Image::ProcessorFlags(0));
  state.SetBytesProcessed(std::int64_t(state.iterations()) * width * height * 4 * depth / 8);
}

void copyFrame(benchmark::State& state) {
  const int depth = int(state.range(0)), width = int(state.range(2));
  const int height = width * 9 / 16;
  Frame frame(formatOfDepth(depth), width, height, 1);
  const std::size_t bytes = std::size_t(frame.input->rowbytes) * std::size_t(height);
  for (auto _ : state) {
    std::memcpy(frame.output->data, frame.input->data, bytes);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

// One frame of the effect (a pulse, default controls) as the adapter renders it.
[[gnu::noinline]] void renderChainFrame(Frame& frame, StrobeQuirk::QuirkPluginAE::Store& store) {
  Host::Image source(&frame.host, frame.input), target(&frame.host, frame.output), spare(&frame.host);
  frame.host.renderFrame(store, source, target, spare, nullptr);
}

void runChain(benchmark::State& state, OZ::Image::Shortcuts shortcuts) {
  const int depth = int(state.range(0)), iterations = int(state.range(1)), width = int(state.range(2));
  Frame frame(formatOfDepth(depth), width, width * 9 / 16, iterations, true);
  StrobeQuirk::QuirkPluginAE::Store store;
  frame.host.defineParameters(store);
  frame.standIn.setTime(0, 1);
  OZ::Image::restrictShortcuts(shortcuts);
  renderChainFrame(frame, store);  // the first frame is cold
  for (auto _ : state) {
    renderChainFrame(frame, store);
    benchmark::DoNotOptimize(frame.output->data);
  }
  OZ::Image::restrictShortcuts(~OZ::Image::Shortcuts(0));
}

struct Level {
  const char* name;
  OZ::Image::ProcessorFlags mask;
};
const Level kLevels[] = {{"scalar", 0},
                         {"sse2", OZ::Image::kFlagSSE2},
                         {"ssse3", OZ::Image::kFlagSSE2 | OZ::Image::kFlagSSSE3},
                         {"sse41", OZ::Image::kFlagSSE2 | OZ::Image::kFlagSSSE3 | OZ::Image::kFlagSSE41},
                         {"auto", ~OZ::Image::ProcessorFlags(0)}};

// levels: the names of the levels the filter has kernels for.
void registerFilter(const std::string& name, const MakeFilter& make, const std::vector<std::string>& levels,
                    const std::vector<int>& widths) {
  for (const Level& level : kLevels) {
    if (std::find(levels.begin(), levels.end(), level.name) == levels.end()) continue;
    auto* benchmark = benchmark::RegisterBenchmark(
        (name + "/" + level.name).c_str(),
        [make, mask = level.mask](benchmark::State& state) { runFilter(state, make, mask); });
    benchmark->ArgNames({"depth", "threads", "width"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (int width : widths)
      for (int depth : {8, 16, 32})
        for (int threads : {1, 2}) benchmark->Args({depth, threads, width});
  }
}

const bool registered = [] {
  auto* copy = benchmark::RegisterBenchmark("copy", copyFrame);
  copy->ArgNames({"depth", "threads", "width"})->Unit(benchmark::kMillisecond)->UseRealTime();
  for (int width : {1920, 3840})
    for (int depth : {8, 16, 32}) copy->Args({depth, 1, width});
  const std::pair<const char*, OZ::Image::Shortcuts> chains[] = {
      {"chain/general", 0},
      {"chain/desaturation", OZ::Image::kShortcutDesaturation},
      {"chain/levels_apart", ~OZ::Image::kShortcutLevelsIntoDesaturation},
      {"chain/blur_apart", ~OZ::Image::kShortcutDesaturationIntoBlur},
      {"chain/alpha_apart", ~OZ::Image::kShortcutOneAlpha},
      {"chain/shortcuts", ~OZ::Image::Shortcuts(0)}};
  for (const auto& [name, shortcuts] : chains) {
    auto* chain = benchmark::RegisterBenchmark(
        name, [shortcuts = shortcuts](benchmark::State& state) { runChain(state, shortcuts); });
    chain->ArgNames({"depth", "threads", "width"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (int depth : {8, 16, 32})
      for (int threads : {1, 2}) chain->Args({depth, threads, 1920});
  }
  registerFilter("premult", [](Node* in) { return std::make_unique<OZ::Image::PremultAlphaFilter<Host>>(in); },
                 {"scalar"}, {1920});
  registerFilter("balance",
                 [](Node* in) {
                   return std::make_unique<OZ::Image::BalanceFilter<Host>>(in, true, 0.11f, 0.165f, 0.0f, 1.0f, 1.0f);
                 },
                 {"scalar", "sse2", "sse41"}, {1920});
  registerFilter("hsvcc", [](Node* in) { return std::make_unique<OZ::Image::HSVCCFilter<Host>>(in, 0.0f, 0.0f, 1.0f); },
                 {"scalar", "sse2", "ssse3", "sse41"}, {1920});
  for (float sigma : {30.0f, 3.0f})
    registerFilter("blur_sigma" + std::to_string(int(sigma)),
                   [sigma](Node* in) {
                     return std::make_unique<OZ::Image::GaussianBlurFilter<Host>>(
                         in, OZ::Image::BlurSigmas{sigma, sigma, 0.0f}, 0, 0);
                   },
                   {"scalar", "sse2", "auto"}, {1920, 3840});
  return true;
}();

}  // namespace

BENCHMARK_MAIN();
