// The levels kernels on a 1920 x 1080 frame with the effect's settings, at
// every level, on one and two threads, beside a plain copy of the same
// bytes: the memory-bound floor that a kernel this simple should approach.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "image/filters/balance_kernels.h"

namespace OZ::Image {
namespace {

constexpr int kWidth = 1920, kHeight = 1080;

struct QuietProgress final : Progress {
  void report(std::int64_t, std::int64_t) override {}
};

struct Frame {
  int depth;
  std::int64_t stride;
  std::vector<unsigned char> source, target;

  explicit Frame(int depth)
      : depth(depth), stride(std::int64_t(kWidth) * depth / 2), source(stride * kHeight), target(stride * kHeight) {
    std::mt19937 random(1);
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth * 4; ++x) {
        unsigned char* p = source.data() + y * stride + x * depth / 8;
        const std::uint32_t bits = random();
        if (depth == 8) *p = std::uint8_t(bits);
        if (depth == 16) *reinterpret_cast<std::uint16_t*>(p) = std::uint16_t(bits % 32769);
        if (depth == 32) *reinterpret_cast<float*>(p) = float(bits % 100000) / 80000.0f;
      }
  }
};

Frame& frameOf(int depth) {
  static Frame frames[] = {Frame(8), Frame(16), Frame(32)};
  return frames[depth / 16];
}

// The effect's levels: clamp, input 0.11 to 0.165, output 0 to 1, no curve.
void runBand(Frame& frame, std::int32_t y0, std::int32_t y1) {
  const Rect whole{0, 0, kWidth, kHeight};
  const SourceView source{whole, frame.source.data(), frame.stride, {0, 0, 0, 0}};
  const TargetView target{whole, frame.target.data(), frame.stride};
  float scale, offset;
  balanceScaleOffset(0.11f, 0.165f, 0.0f, 1.0f, scale, offset);
  QuietProgress progress;
  runBalanceBand(frame.depth, ChannelOrder::AlphaLast, target, source, {0, y0, kWidth, y1}, progress, scale, offset,
                 1.0f, true);
}

// Splits the rows like the band rule does, one band per thread.
template <class Work>
void onThreads(int threads, Work work) {
  if (threads == 1) {
    work(0, kHeight);
    return;
  }
  std::vector<std::thread> workers;
  for (int i = 0; i < threads; ++i)
    workers.emplace_back(work, std::int32_t(std::int64_t(kHeight) * i / threads),
                         std::int32_t(std::int64_t(kHeight) * (i + 1) / threads));
  for (std::thread& worker : workers) worker.join();
}

// Arguments: depth, processor flag mask (0 scalar, 64 SSE2, 1088 SSE4.1), threads.
void Balance(benchmark::State& state) {
  Frame& frame = frameOf(int(state.range(0)));
  const ProcessorFlags mask = ProcessorFlags(state.range(1));
  restrictProcessorFlags(~0u);
  if ((queryProcessorFlags() & mask) != mask) {
    state.SkipWithError("level not on this processor");
    return;
  }
  restrictProcessorFlags(mask);
  for (auto _ : state) {
    onThreads(int(state.range(2)), [&](std::int32_t y0, std::int32_t y1) { runBand(frame, y0, y1); });
    benchmark::ClobberMemory();
  }
  restrictProcessorFlags(~0u);
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(frame.source.size()));
  state.SetLabel(mask == 0 ? "scalar" : mask == kFlagSSE2 ? "SSE2" : "SSE4.1");
}

// Arguments: depth, threads.
void BalanceCopy(benchmark::State& state) {
  Frame& frame = frameOf(int(state.range(0)));
  for (auto _ : state) {
    onThreads(int(state.range(1)), [&](std::int32_t y0, std::int32_t y1) {
      std::memcpy(frame.target.data() + y0 * frame.stride, frame.source.data() + y0 * frame.stride,
                  std::size_t(y1 - y0) * std::size_t(frame.stride));
    });
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(frame.source.size()));
}

BENCHMARK(Balance)
    ->ArgNames({"depth", "mask", "threads"})
    ->ArgsProduct({{8, 16, 32}, {0, kFlagSSE2, kFlagSSE2 | kFlagSSE41}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BalanceCopy)
    ->ArgNames({"depth", "threads"})
    ->ArgsProduct({{8, 16, 32}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace OZ::Image
