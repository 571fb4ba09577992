// Both passes of the Gaussian blur's line filters over whole frames, as the
// blur node runs them: a source larger than the frame by r = ceil(3.5 σ) on
// every side, a row pass into an intermediate of the frame's width and the
// source's height, then a column pass into the frame. Each level (scalar;
// the vector family as SSE2 and as AVX), σ 30 and σ 3 (the cost must not
// depend on σ), one thread and two (each taking half the lines of each
// pass), beside a plain copy of the frame. "fastest_ms" is the best frame
// seen (the machine may be shared), "copies" that over the best FrameCopy
// of the same frame.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <thread>
#include <tuple>
#include <vector>

#include "image/filters/blur_lines.h"
#include "image/filters/processor_flags.h"

namespace OZ::Image {
namespace {

constexpr int kLargestMargin = 105;  // ceil(3.5 × 30)

struct QuietProgress final : Progress {
  void report(std::int64_t, std::int64_t) override {}
};

int marginOf(double sigma) { return int(std::ceil(sigma * 3.5)); }

struct Plane {
  Plane(int width, int height, int depth)
      : width(width), height(height), pixelBytes(depth / 2), stride(std::int64_t(width) * pixelBytes),
        bytes(std::size_t(stride) * height) {}
  unsigned char* pixel(int x, int y) { return bytes.data() + y * stride + x * pixelBytes; }
  int width, height;
  std::int64_t pixelBytes, stride;
  std::vector<unsigned char> bytes;
};

// One random source per frame size and depth, with the largest margin; a
// smaller σ reads a window of it.
Plane& sourceOf(int width, int height, int depth) {
  static std::map<std::tuple<int, int, int>, std::unique_ptr<Plane>> sources;
  auto& plane = sources[{width, height, depth}];
  if (!plane) {
    plane = std::make_unique<Plane>(width + 2 * kLargestMargin, height + 2 * kLargestMargin, depth);
    std::mt19937 random(1);
    const int components = plane->width * plane->height * 4;
    for (int i = 0; i < components; ++i) {
      const std::uint32_t bits = random();
      unsigned char* p = plane->bytes.data() + std::size_t(i) * (depth / 8);
      if (depth == 8) *p = std::uint8_t(bits);
      if (depth == 16) *reinterpret_cast<std::uint16_t*>(p) = std::uint16_t(bits % 32769);
      if (depth == 32) *reinterpret_cast<float*>(p) = float(bits % 100000) / 80000.0f;
    }
  }
  return *plane;
}

// The fastest copy seen per frame size, depth and thread count, so that each
// blur can say how many copies of the frame it costs. FrameCopy runs first.
std::map<std::tuple<int, int, int, int>, double>& copySeconds() {
  static std::map<std::tuple<int, int, int, int>, double> seconds;
  return seconds;
}

double secondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

template <class Work>
void onThreads(int threads, std::int64_t lines, Work work) {
  if (threads == 1) {
    work(0, 0, lines);
    return;
  }
  std::vector<std::thread> workers;
  for (int i = 0; i < threads; ++i) workers.emplace_back(work, i, lines * i / threads, lines * (i + 1) / threads);
  for (std::thread& worker : workers) worker.join();
}

// The levels of the "level" argument: the family, and the flags that pick
// the vector family's build.
struct BlurLevel {
  const char* name;
  BlurFamily family;
  ProcessorFlags mask;
  ProcessorFlags needs;
};
constexpr BlurLevel kLevels[] = {{"scalar", BlurFamily::Scalar, ~ProcessorFlags(0), 0},
                                 {"SSE2", BlurFamily::Vector, ~kFlagAVX, kFlagSSE2},
                                 {"AVX", BlurFamily::Vector, ~ProcessorFlags(0), kFlagSSE2 | kFlagAVX}};

// Arguments: width, height, depth, level (0 scalar, 1 SSE2, 2 AVX), σ, threads.
void Blur(benchmark::State& state) {
  const int width = int(state.range(0)), height = int(state.range(1)), depth = int(state.range(2));
  const BlurLevel& level = kLevels[state.range(3)];
  if ((queryProcessorFlags() & level.needs) != level.needs) {
    state.SkipWithError("the processor lacks this level");
    return;
  }
  const BlurFamily family = level.family;
  const double sigma = double(state.range(4));
  const int threads = int(state.range(5));
  const int r = marginOf(sigma);
  const BlurSamples samples = blurSamples(depth, 32768);
  const DericheCoefficients coefficients(sigma, 0);

  Plane& source = sourceOf(width, height, depth);
  Plane intermediate(width, height + 2 * r, depth), output(width, height, depth);
  const int offset = kLargestMargin - r;
  const BlurLines rows{source.pixel(offset, offset), source.stride, source.pixelBytes, width + 2 * r,
                       intermediate.pixel(0, 0), intermediate.stride, intermediate.pixelBytes, width, r};
  const BlurLines columns{intermediate.pixel(0, 0), intermediate.pixelBytes, intermediate.stride, height + 2 * r,
                          output.pixel(0, 0), output.pixelBytes, output.stride, height, r};
  std::vector<std::vector<unsigned char>> scratch(threads,
                                                  std::vector<unsigned char>(blurScratchBytes(family, width + 2 * r)));
  const std::int64_t total = intermediate.height + std::int64_t(width);

  restrictProcessorFlags(level.mask);
  double fastest = 1e30;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    onThreads(threads, intermediate.height, [&](int thread, std::int64_t begin, std::int64_t end) {
      QuietProgress progress;
      blurLineRange(family, samples, rows, coefficients, begin, end, scratch[thread].data(), -r, progress, 0, total);
    });
    onThreads(threads, width, [&](int thread, std::int64_t begin, std::int64_t end) {
      QuietProgress progress;
      blurLineRange(family, samples, columns, coefficients, begin, end, scratch[thread].data(), 0, progress,
                    intermediate.height, total);
    });
    benchmark::ClobberMemory();
    fastest = std::min(fastest, secondsSince(start));
  }
  restrictProcessorFlags(~ProcessorFlags(0));
  state.counters["Mpixel/s"] =
      benchmark::Counter(double(width) * height * double(state.iterations()) / 1e6, benchmark::Counter::kIsRate);
  state.counters["fastest_ms"] = fastest * 1e3;
  const auto copy = copySeconds().find({width, height, depth, threads});
  if (copy != copySeconds().end()) state.counters["copies"] = fastest / copy->second;
  state.SetLabel(level.name);
}

// Arguments: width, height, depth, threads. The frame's bytes, copied.
void FrameCopy(benchmark::State& state) {
  const int width = int(state.range(0)), height = int(state.range(1)), depth = int(state.range(2));
  const int threads = int(state.range(3));
  Plane& source = sourceOf(width, height, depth);
  Plane output(width, height, depth);
  const std::size_t bytes = output.bytes.size();
  double fastest = 1e30;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    onThreads(threads, std::int64_t(bytes), [&](int, std::int64_t begin, std::int64_t end) {
      std::memcpy(output.bytes.data() + begin, source.bytes.data() + begin, std::size_t(end - begin));
    });
    benchmark::ClobberMemory();
    fastest = std::min(fastest, secondsSince(start));
  }
  double& best = copySeconds()[{width, height, depth, threads}];
  best = best > 0 ? std::min(best, fastest) : fastest;
  state.counters["fastest_ms"] = fastest * 1e3;
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

BENCHMARK(FrameCopy)
    ->ArgNames({"w", "h", "depth", "threads"})
    ->ArgsProduct({{1920}, {1080}, {8, 16, 32}, {1, 2}})
    ->ArgsProduct({{3840}, {2160}, {8, 16, 32}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(Blur)
    ->ArgNames({"w", "h", "depth", "level", "sigma", "threads"})
    ->ArgsProduct({{1920}, {1080}, {8, 16, 32}, {2, 1, 0}, {30, 3}, {1, 2}})
    ->ArgsProduct({{3840}, {2160}, {8, 16, 32}, {2, 1, 0}, {30, 3}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace OZ::Image

// kernels_bench gathers several files of benchmarks; a weak main lets any
// one of them provide the entry.
__attribute__((weak)) int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
