// The blend kernels on a 1920 x 1080 alpha-last frame: Normal (0), the
// effect's StencilLuma (31) and Hue (26, non-separable), three depths,
// every level, one and two threads, beside a plain copy of the same frame
// (BlendCopy: a memcpy of one input's bytes into the output). Compare a
// kernel's time with BlendCopy at the same depth and thread count.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "image/blend/blend_kernels.h"
#include "image/blend/blend_modes.h"
#include "image/filters/processor_flags.h"

namespace OZ::Image {
namespace {

constexpr std::int32_t kWidth = 1920, kHeight = 1080;

struct SilentProgress final : Progress {
  void report(std::int64_t, std::int64_t) override {}
};

// Two inputs and an output of one depth, 16-byte aligned like the host's
// worlds, the inputs filled with random values in the depth's range.
class Frames {
 public:
  explicit Frames(int depth) : depth(depth), stride(std::int64_t(kWidth) * 4 * (depth / 8)) {
    std::mt19937 random(depth);
    for (auto* storage : {&first, &second, &target}) storage->resize(bytes() + 16);
    for (unsigned char* pixels : {data(first), data(second)})
      for (std::size_t i = 0; i < bytes(); i += std::size_t(depth / 8)) {
        const std::uint32_t bits = random();
        if (depth == 8) pixels[i] = std::uint8_t(bits);
        if (depth == 16) {
          const std::uint16_t value = std::uint16_t(bits % 32769);
          std::memcpy(pixels + i, &value, 2);
        }
        if (depth == 32) {
          const float value = float(bits % 65536) / 65536.0f;
          std::memcpy(pixels + i, &value, 4);
        }
      }
  }

  std::size_t bytes() const { return std::size_t(stride) * kHeight; }
  static unsigned char* data(std::vector<unsigned char>& storage) {
    return storage.data() + (16 - reinterpret_cast<std::uintptr_t>(storage.data()) % 16) % 16;
  }

  int depth;
  std::int64_t stride;
  std::vector<unsigned char> first, second, target;
};

Frames& framesOf(int depth) {
  static Frames frames[] = {Frames(8), Frames(16), Frames(32)};
  return frames[depth / 16];
}

// Half the rows each on two threads, as the host's bands would split them.
template <class Rows>
void splitRows(int threads, Rows rows) {
  if (threads == 1) return rows(0, kHeight);
  std::thread upper(rows, 0, kHeight / 2);
  rows(kHeight / 2, kHeight);
  upper.join();
}

// Arguments: depth, mode, processor flag mask (0, 64, 64|256, 64|256|1024), threads.
void Blend(benchmark::State& state) {
  Frames& frames = framesOf(int(state.range(0)));
  const auto mode = std::uint32_t(state.range(1));
  const ProcessorFlags mask = ProcessorFlags(state.range(2));
  restrictProcessorFlags(~ProcessorFlags(0));
  if ((queryProcessorFlags() & mask) != mask) {
    state.SkipWithError("level not on this processor");
    return;
  }
  restrictProcessorFlags(mask);
  const Rect whole{0, 0, kWidth, kHeight};
  const SourceView a{whole, Frames::data(frames.first), frames.stride, {0, 0, 0, 0}};
  const SourceView b{whole, Frames::data(frames.second), frames.stride, {0, 0, 0, 0}};
  const TargetView target{whole, Frames::data(frames.target), frames.stride};
  for (auto _ : state) {
    splitRows(int(state.range(3)), [&](std::int32_t y0, std::int32_t y1) {
      SilentProgress progress;
      runBlendBand(frames.depth, ChannelOrder::AlphaLast, target, a, b, {0, y0, kWidth, y1}, progress, mode, 1.0f);
    });
    benchmark::ClobberMemory();
  }
  restrictProcessorFlags(~ProcessorFlags(0));
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(frames.bytes()));
  const char* levels[] = {"scalar", "SSE2", "SSSE3", "SSE4.1"};
  const int level = mask == 0 ? 0 : mask == kFlagSSE2 ? 1 : mask == (kFlagSSE2 | kFlagSSSE3) ? 2 : 3;
  state.SetLabel(std::string(blendModeName(mode)) + " " + levels[level]);
}

// Arguments: depth, threads.
void BlendCopy(benchmark::State& state) {
  Frames& frames = framesOf(int(state.range(0)));
  for (auto _ : state) {
    splitRows(int(state.range(1)), [&](std::int32_t y0, std::int32_t y1) {
      std::memcpy(Frames::data(frames.target) + y0 * frames.stride, Frames::data(frames.first) + y0 * frames.stride,
                  std::size_t(y1 - y0) * std::size_t(frames.stride));
    });
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(frames.bytes()));
}

BENCHMARK(Blend)
    ->ArgNames({"depth", "mode", "mask", "threads"})
    ->ArgsProduct({{8, 16, 32},
                   {BlendNormal, BlendStencilLuma, BlendHue},
                   {0, kFlagSSE2, kFlagSSE2 | kFlagSSSE3, kFlagSSE2 | kFlagSSSE3 | kFlagSSE41},
                   {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BlendCopy)
    ->ArgNames({"depth", "threads"})
    ->ArgsProduct({{8, 16, 32}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace OZ::Image
