// The whole effect as the application runs it: every frame through the
// built plug-in's PluginEntry and the stand-in host (smart pre-render and
// smart render), at 1920×1080 and 3840×2160, three depths, 1 and 2 of the
// host's threads. Each iteration also times a plain copy of the same frame,
// right before the render, so that the ratio holds on a busy machine.
//
// Counters: copy_ms (the copy's mean), x_copy (render ÷ copy), estimate_MB
// (the graph's own estimate of its peak, for this frame) and host_peak_MB
// (the most the plug-in held of the host's memory at once: its worlds and
// handles). With OZ_BENCH_FRAME set to a raw planar frame of the size
// and depth (G, B, R, A planes, as ffmpeg's gbrap, gbrap16le, gbrapf32le
// store them), that frame is the layer instead of noise: bench/compare_ffmpeg.py
// times ffmpeg on the same file. The "passthrough" rows render with "Unmasked" on, on a pulse:
// the plug-in copies its input through, so they show what the host and the
// entry function cost around the effect.
//
//   build/x64/bench/oz_bench --benchmark_filter=effect/ --benchmark_repetitions=5
//       --benchmark_report_aggregates_only=true

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>

#include "effect/quirk_controls.h"
#include "effect/quirk_plugin_ae.h"
#include "image/pixel_format.h"
#include "image/render_graph.h"
#include "standin/effect_instance.h"
#include "standin/plugin_loader.h"
#include "standin/standin_host.h"

namespace {

using OZ::Image::formatCode;
using Clock = std::chrono::steady_clock;

// A host keeps its frame buffers from one frame to the next; so does this
// process, instead of mapping and faulting in fresh pages for every frame.
const bool keepFrameBuffers = [] {
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  return true;
}();

// The application's own formats: alpha first.
OZ::Image::PixelFormatCode formatOfDepth(int depth) {
  return depth == 8 ? formatCode("argb") : depth == 16 ? formatCode("ae16") : formatCode("ae32");
}

// Every channel uniform in the format's own range (floats 0 to 1).
void fillLayer(PF_EffectWorld& world, int depth) {
  std::mt19937 generator(7);
  auto* row = reinterpret_cast<unsigned char*>(world.data);
  for (A_long y = 0; y < world.height; ++y, row += world.rowbytes)
    for (A_long i = 0; i < world.width * 4; ++i) {
      const std::uint32_t value = generator() >> 24;
      if (depth == 8) row[i] = static_cast<unsigned char>(value);
      if (depth == 16) reinterpret_cast<std::uint16_t*>(row)[i] = static_cast<std::uint16_t>(value * 128);
      if (depth == 32) reinterpret_cast<float*>(row)[i] = float(value) / 255.0f;
    }
}

// The frame of OZ_BENCH_FRAME, when that names a file of this size and
// depth: planes G, B, R, A, each row after row. 16-bit samples (white
// 65535) are scaled to white 32768.
bool loadLayer(PF_EffectWorld& world, int depth) {
  const char* path = std::getenv("OZ_BENCH_FRAME");
  if (!path || !*path) return false;
  const std::size_t sampleBytes = std::size_t(depth / 8), plane = std::size_t(world.width) * std::size_t(world.height);
  std::vector<unsigned char> planes(4 * plane * sampleBytes);
  std::ifstream file(path, std::ios::binary);
  if (!file.read(reinterpret_cast<char*>(planes.data()), std::streamsize(planes.size())))
    throw std::runtime_error(std::string("OZ_BENCH_FRAME: cannot read a whole frame from ") + path);
  const int componentOfPlane[4] = {2, 3, 1, 0};  // G, B, R, A into A R G B
  auto* row = reinterpret_cast<unsigned char*>(world.data);
  for (A_long y = 0; y < world.height; ++y, row += world.rowbytes)
    for (A_long x = 0; x < world.width; ++x)
      for (int p = 0; p < 4; ++p) {
        const unsigned char* sample = planes.data() + (p * plane + std::size_t(y) * world.width + x) * sampleBytes;
        unsigned char* out = row + (std::size_t(x) * 4 + componentOfPlane[p]) * sampleBytes;
        if (depth == 16) {
          std::uint16_t value;
          std::memcpy(&value, sample, 2);
          value = std::uint16_t((std::uint32_t(value) * 32768 + 32767) / 65535);
          std::memcpy(out, &value, 2);
        } else {
          std::memcpy(out, sample, sampleBytes);
        }
      }
  return true;
}

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// What the graph of this frame estimates as its peak: the same graph the
// plug-in builds, prepared in process with the same controls.
std::uint64_t estimatedPeak(StandIn::StandInHost& standIn, PF_EffectWorld* input, PF_EffectWorld* output,
                            bool unmasked, A_long frame) {
  StrobeQuirk::QuirkPluginAE effect;
  effect.attach(standIn.inData(), standIn.outData(), nullptr, nullptr, nullptr);
  StrobeQuirk::QuirkPluginAE::Store store;
  effect.defineParameters(store);
  store.setBool(unmasked, StrobeQuirk::kUnmaskedIndex);
  standIn.setTime(frame, 1);
  StrobeQuirk::QuirkPluginAE::Image source(&effect, input), target(&effect, output);
  OZ::Image::FilterLayer<OZ::Host::AE::Host> layer(&source, OZ::Image::emptyRect);
  StrobeQuirk::EffectGraph<OZ::Host::AE::Host> graph(&effect, &layer);
  auto* root = effect.buildGraph(graph, store, false, false);
  OZ::Image::prepareRender(root, static_cast<OZ::Host::AE::Host*>(&effect), target);
  return root->peakBytes;
}

void renderEffect(benchmark::State& state, bool unmasked) {
  const int depth = int(state.range(0)), threads = int(state.range(1)), width = int(state.range(2));
  const int height = width * 9 / 16;
  const A_long frame = 0;  // a pulse with the default controls
  StandIn::Settings settings;
  settings.iterations = threads;
  settings.poisonWorlds = false;  // the application hands out worlds as they come
  StandIn::StandInHost standIn(settings);
  StandIn::PluginLoader plugin(StandIn::PluginLoader::builtPluginPath());
  const OZ::Image::PixelFormatCode format = formatOfDepth(depth);
  StandIn::OwnedWorld input(standIn.makeLayerWorld(width, height, format), StandIn::WorldDisposer{&standIn});
  StandIn::OwnedWorld copy(standIn.makeLayerWorld(width, height, format), StandIn::WorldDisposer{&standIn});
  if (!loadLayer(*input, depth)) fillLayer(*input, depth);
  const double estimate = double(estimatedPeak(standIn, input.get(), copy.get(), unmasked, frame));

  StandIn::EffectInstance effect(standIn, plugin.entry());
  if (effect.apply() != PF_Err_NONE) throw std::runtime_error("the plug-in refused its setup: " + effect.message());
  effect.params.setBool(StrobeQuirk::kUnmaskedIndex + 1, unmasked);
  auto render = [&] {
    StandIn::SmartFrame result = effect.renderFrame(input.get(), frame);
    if (result.result() != PF_Err_NONE || !result.output) throw std::runtime_error("the render failed");
    benchmark::DoNotOptimize(result.output->data);
  };
  render();  // the first render is cold: pages, caches, the plug-in's first calls
  const std::size_t bytes = std::size_t(input->rowbytes) * std::size_t(height);

  standIn.resetPeakPluginBytes();
  double renderTotal = 0, copyTotal = 0;
  for (auto _ : state) {
    Clock::time_point start = Clock::now();
    std::memcpy(copy->data, input->data, bytes);
    benchmark::ClobberMemory();
    copyTotal += millisecondsSince(start);
    start = Clock::now();
    render();
    const double elapsed = millisecondsSince(start);
    renderTotal += elapsed;
    state.SetIterationTime(elapsed / 1000.0);
  }
  const double iterations = double(state.iterations());
  state.counters["copy_ms"] = copyTotal / iterations;
  state.counters["x_copy"] = copyTotal > 0 ? renderTotal / copyTotal : 0.0;
  state.counters["estimate_MB"] = estimate / 1e6;
  state.counters["host_peak_MB"] = double(standIn.peakPluginBytes()) / 1e6;
}

const bool registered = [] {
  for (const bool unmasked : {false, true}) {
    auto* benchmark = benchmark::RegisterBenchmark(unmasked ? "effect/passthrough" : "effect/masked",
                                                   [unmasked](benchmark::State& state) { renderEffect(state, unmasked); });
    benchmark->ArgNames({"depth", "threads", "width"})->Unit(benchmark::kMillisecond)->UseManualTime();
    for (int width : {1920, 3840})
      for (int depth : {8, 16, 32})
        for (int threads : {1, 2}) benchmark->Args({depth, threads, width});
  }
  return true;
}();

}  // namespace
