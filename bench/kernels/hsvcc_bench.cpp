// The HSVCC kernels on a 1920 x 1080 alpha-last frame with the effect's
// settings (hue 0, saturation 0, value 1: the grey stage), at every level,
// on one and two threads, beside a plain copy of the same frame. Compare a
// kernel's time with HsvccCopy at the same depth and thread count.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "image/filters/hsvcc_kernels.h"
#include "image/filters/processor_flags.h"

namespace OZ::Image {
namespace {

constexpr std::int32_t kWidth = 1920, kHeight = 1080;

struct SilentProgress final : Progress {
  void report(std::int64_t, std::int64_t) override {}
};

// Source and target of one depth, 16-byte aligned like the host's worlds,
// filled with random colours.
class Frame {
 public:
  explicit Frame(int depth)
      : depth(depth),
        stride(std::int64_t(kWidth) * 4 * (depth / 8)),
        sourceBytes(bytes() + 16),
        targetBytes(bytes() + 16) {
    std::mt19937 random(depth);
    unsigned char* pixels = source();
    for (std::size_t i = 0; i < bytes(); i += depth / 8) {
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
  unsigned char* source() { return align(sourceBytes); }
  unsigned char* target() { return align(targetBytes); }

  int depth;
  std::int64_t stride;

 private:
  static unsigned char* align(std::vector<unsigned char>& storage) {
    return storage.data() + (16 - reinterpret_cast<std::uintptr_t>(storage.data()) % 16) % 16;
  }
  std::vector<unsigned char> sourceBytes, targetBytes;
};

Frame& frameOf(int depth) {
  static Frame frames[] = {Frame(8), Frame(16), Frame(32)};
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

// Arguments: depth, processor flag mask (0, 64, 64|256, 64|256|1024), threads.
void Hsvcc(benchmark::State& state) {
  Frame& frame = frameOf(int(state.range(0)));
  const ProcessorFlags mask = ProcessorFlags(state.range(1));
  restrictProcessorFlags(~ProcessorFlags(0));
  if ((queryProcessorFlags() & mask) != mask) {
    state.SkipWithError("level not on this processor");
    return;
  }
  restrictProcessorFlags(mask);
  const Rect whole{0, 0, kWidth, kHeight};
  const SourceView source{whole, frame.source(), frame.stride, {0, 0, 0, 0}};
  const TargetView target{whole, frame.target(), frame.stride};
  for (auto _ : state) {
    splitRows(int(state.range(2)), [&](std::int32_t y0, std::int32_t y1) {
      SilentProgress progress;
      runHsvccBand(frame.depth, ChannelOrder::AlphaLast, target, source, {0, y0, kWidth, y1}, progress, 0.0f, 0.0f,
                   1.0f);
    });
    benchmark::ClobberMemory();
  }
  restrictProcessorFlags(~ProcessorFlags(0));
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(frame.bytes()));
  const char* names[] = {"scalar", "SSE2", "SSSE3", "SSE4.1"};
  state.SetLabel(names[mask == 0 ? 0 : mask == kFlagSSE2 ? 1 : mask == (kFlagSSE2 | kFlagSSSE3) ? 2 : 3]);
}

// Arguments: depth, threads.
void HsvccCopy(benchmark::State& state) {
  Frame& frame = frameOf(int(state.range(0)));
  for (auto _ : state) {
    splitRows(int(state.range(1)), [&](std::int32_t y0, std::int32_t y1) {
      std::memcpy(frame.target() + y0 * frame.stride, frame.source() + y0 * frame.stride,
                  std::size_t(y1 - y0) * std::size_t(frame.stride));
    });
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(frame.bytes()));
}

BENCHMARK(Hsvcc)
    ->ArgNames({"depth", "mask", "threads"})
    ->ArgsProduct({{8, 16, 32}, {0, kFlagSSE2, kFlagSSE2 | kFlagSSSE3, kFlagSSE2 | kFlagSSSE3 | kFlagSSE41}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(HsvccCopy)
    ->ArgNames({"depth", "threads"})
    ->ArgsProduct({{8, 16, 32}, {1, 2}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
}  // namespace OZ::Image
