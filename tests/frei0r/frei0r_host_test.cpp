// The adapter's own services, which the frei0r host does not provide: the
// thread runner's contract, worlds and handles from the C++ allocator, and
// the time-to-frame rule.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "host/frei0r/frame_clock.h"
#include "host/frei0r/host.h"
#include "image/exception.h"

using OZ::Host::Frei0r::frameAtTime;
using OZ::Host::Frei0r::Host;
using OZ::Host::Frei0r::World;
using OZ::Image::formatCode;

namespace {

// A host with nothing to render, for its services alone.
class BareHost final : public Host {
 public:
  void defineParameters(Store&) override {}
  void renderFrame(Store&, Image&, Image&, Image&, Image**) override {}
};

struct Call {
  std::uint64_t band, count, thread;
  std::thread::id runner;
};

struct Recorder {
  std::mutex lock;
  std::vector<Call> calls;
  std::atomic<int> running{0};
  std::atomic<int> mostAtOnce{0};

  static void record(std::uint64_t band, std::uint64_t count, std::uint64_t thread, void* data) {
    Recorder& self = *static_cast<Recorder*>(data);
    const int now = ++self.running;
    for (int seen = self.mostAtOnce; now > seen && !self.mostAtOnce.compare_exchange_weak(seen, now);) {
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    {
      std::lock_guard<std::mutex> guard(self.lock);
      self.calls.push_back({band, count, thread, std::this_thread::get_id()});
    }
    --self.running;
  }
};

}  // namespace

TEST(Frei0rRunThreads, EveryBandRunsOnceWithTheCountAndExactlyOneThreadIndexZero) {
  BareHost host;
  for (std::uint64_t threads : {2u, 3u, 8u}) {
    for (std::uint64_t count : {0u, 1u, 5u, 100u}) {
      host.threadCount = threads;
      Recorder recorder;
      host.runThreads(&Recorder::record, &recorder, count);
      const std::uint64_t expected = count != 0 ? count : threads;
      // Returned only after every band ended.
      ASSERT_EQ(recorder.calls.size(), expected) << threads << " threads, count " << count;
      EXPECT_EQ(recorder.running, 0);
      std::set<std::uint64_t> bands;
      int zeros = 0;
      for (const Call& call : recorder.calls) {
        bands.insert(call.band);
        EXPECT_EQ(call.count, expected);
        zeros += call.thread == 0;
        if (call.thread == 0) {
          EXPECT_EQ(call.runner, std::this_thread::get_id()) << "thread 0 is the caller's";
        }
      }
      EXPECT_EQ(bands.size(), expected);
      EXPECT_EQ(*bands.rbegin(), expected - 1);
      EXPECT_EQ(zeros, 1);
    }
  }
}

TEST(Frei0rRunThreads, OneThreadIsADirectCallAndSeveralRunAtOnce) {
  BareHost host;
  host.threadCount = 1;
  Recorder alone;
  host.runThreads(&Recorder::record, &alone, 0);
  ASSERT_EQ(alone.calls.size(), 1u);
  EXPECT_EQ(alone.calls[0].runner, std::this_thread::get_id());

  host.threadCount = 4;
  Recorder together;
  host.runThreads(&Recorder::record, &together, 0);
  EXPECT_GT(together.mostAtOnce, 1);
  std::set<std::thread::id> runners;
  for (const Call& call : together.calls) runners.insert(call.runner);
  EXPECT_GT(runners.size(), 1u);

  // Count 0 with no setting: one per processor, within the cap.
  host.threadCount = 0;
  EXPECT_GE(host.iterationsWanted(), 1u);
  EXPECT_LE(host.iterationsWanted(), Host::kMaxProcessorThreads);
}

TEST(Frei0rRunThreads, AFailedBandReachesTheCallerAsItselfAndStopsTheRest) {
  struct Run {
    Host* host;
    std::atomic<int> rows{0};
    // Band 2 fails at once; the others report every row, as kernels do,
    // and so notice the latch.
    static void band(std::uint64_t band, std::uint64_t, std::uint64_t thread, void* data) {
      Run& run = *static_cast<Run*>(data);
      if (band == 2) throw std::bad_alloc();
      for (int row = 0; row < 2000; ++row) {
        std::this_thread::sleep_for(std::chrono::microseconds(50));
        ++run.rows;
        run.host->reportProgress(thread, row, 2000);
      }
    }
  };
  BareHost host;
  host.threadCount = 4;
  Run run{&host};
  EXPECT_THROW(host.runThreads(&Run::band, &run, 0), std::bad_alloc);
  EXPECT_LT(run.rows, 3 * 2000);
  EXPECT_NE(host.abortCode.load(), 0u);
  EXPECT_THROW(host.checkAbort(0), OZ::Interrupted);

  // With one thread the same exception passes straight through, and
  // nothing is latched.
  BareHost single;
  single.threadCount = 1;
  struct Throwing {
    static void run(std::uint64_t, std::uint64_t, std::uint64_t, void*) { throw std::runtime_error("band"); }
  };
  EXPECT_THROW(single.runThreads(&Throwing::run, nullptr, 0), std::runtime_error);
  EXPECT_NO_THROW(single.reportProgress(0, 1, 2));
}

TEST(Frei0rWorlds, NewWorldsAreClearedWithAlignedRowsAndGoBack) {
  BareHost host;
  for (OZ::Image::PixelFormatCode format : {formatCode("bgra"), formatCode("Bgra"), formatCode("BGra"), formatCode("argb")}) {
    World world;
    ASSERT_EQ(host.serviceNewWorld(13, 5, format, world), 0);
    const int depth = OZ::Image::formatDepth(world.format);
    EXPECT_EQ(world.width, 13);
    EXPECT_EQ(world.height, 5);
    EXPECT_GE(world.rowbytes, 13 * depth / 2);
    EXPECT_EQ(world.rowbytes % 32, 0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(world.data) % 32, 0u);
    for (std::int64_t i = 0; i < world.rowbytes * 5; ++i) ASSERT_EQ(world.data[i], 0) << format << " byte " << i;
    OZ::Image::PixelFormatCode seen = 0;
    EXPECT_EQ(host.pixelFormatOf(world, seen), 0);
    EXPECT_EQ(seen, world.format);
    EXPECT_EQ(host.serviceDisposeWorld(world), 0);
    EXPECT_EQ(world.data, nullptr);
  }
  World refused;
  EXPECT_NE(host.serviceNewWorld(8, 8, formatCode("v210"), refused), 0);
  EXPECT_NE(host.serviceNewWorld(0, 8, formatCode("bgra"), refused), 0);
  EXPECT_NE(host.serviceNewWorld(2147483647, 2147483647, formatCode("BGra"), refused), 0);
  EXPECT_EQ(refused.data, nullptr);
}

TEST(Frei0rWorlds, CopyAndFillStayInsideTheirRectanglesAndRefuseWhatDoesNotFit) {
  BareHost host;
  World source, target;
  ASSERT_EQ(host.serviceNewWorld(6, 4, formatCode("bgra"), source), 0);
  ASSERT_EQ(host.serviceNewWorld(6, 4, formatCode("bgra"), target), 0);
  for (std::int64_t i = 0; i < source.rowbytes * 4; ++i) source.data[i] = std::uint8_t(i);
  std::memset(target.data, 0xee, std::size_t(target.rowbytes * 4));

  const OZ::Image::Rect from{1, 1, 3, 3}, to{4, 2, 6, 4};
  ASSERT_EQ(host.copyWorld(source, target, &from, &to), 0);
  for (std::int32_t y = 0; y < 4; ++y)
    for (std::int32_t x = 0; x < 6; ++x)
      for (int c = 0; c < 4; ++c) {
        const bool inside = x >= 4 && y >= 2;
        const std::uint8_t want =
            inside ? source.data[(y - 1) * source.rowbytes + (x - 3) * 4 + c] : std::uint8_t(0xee);
        ASSERT_EQ(target.data[y * target.rowbytes + x * 4 + c], want) << x << "," << y;
      }
  const OZ::Image::Rect corner{0, 0, 2, 1};
  ASSERT_EQ(host.fillWorld(&corner, target), 0);
  EXPECT_EQ(target.data[0], 0);
  EXPECT_EQ(target.data[7], 0);
  EXPECT_EQ(target.data[8], 0xee);
  EXPECT_EQ(target.data[target.rowbytes], 0xee);

  const OZ::Image::Rect outside{5, 3, 7, 4}, wider{0, 0, 3, 1};
  EXPECT_NE(host.fillWorld(&outside, target), 0);
  EXPECT_NE(host.copyWorld(source, target, &outside, nullptr), 0);
  EXPECT_NE(host.copyWorld(source, target, &wider, &corner), 0);
  World deep;
  ASSERT_EQ(host.serviceNewWorld(6, 4, formatCode("Bgra"), deep), 0);
  EXPECT_NE(host.copyWorld(source, deep, nullptr, nullptr), 0);
  host.serviceDisposeWorld(deep);
  host.serviceDisposeWorld(source);
  host.serviceDisposeWorld(target);
}

TEST(Frei0rWorlds, HandlesKnowTheirSizeAndARefusalIsNull) {
  BareHost host;
  Host::Handle handle = host.newHandle(100);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(host.handleSize(handle), 100u);
  unsigned char* bytes = static_cast<unsigned char*>(host.lockHandle(handle));
  ASSERT_NE(bytes, nullptr);
  bytes[99] = 1;
  host.disposeHandle(handle);
// A sanitizer's allocator ends the process rather than refuse.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
  EXPECT_EQ(host.newHandle(std::numeric_limits<std::uint64_t>::max()), nullptr);
#endif
}

TEST(Frei0rFrameClock, RoundsTimeTimesRateWithMillisecondsDividedFirst) {
  const struct {
    double time, rate;
    bool milliseconds;
    std::int32_t frame;
  } cases[] = {
      {0.0, 25.0, false, 0},        {0.04, 25.0, false, 1},      {0.44, 25.0, false, 11},
      {40.0, 25.0, true, 1},        {440.0, 25.0, true, 11},     {0.02, 25.0, false, 1},  // a half rounds up
      {0.0199, 25.0, false, 0},     {-0.02, 25.0, false, -1},    {1001.0 / 30000.0 * 7, 29.97, false, 7},
      {3600.0, 25.0, false, 90000}, {3600000.0, 25.0, true, 90000},
      {16777216.0, 1.0, false, 16777216},
  };
  for (const auto& c : cases) {
    std::int32_t frame = -99;
    EXPECT_TRUE(frameAtTime(c.time, c.rate, c.milliseconds, frame)) << c.time;
    EXPECT_EQ(frame, c.frame) << c.time << (c.milliseconds ? " ms" : " s") << " at " << c.rate;
  }
  // ffmpeg's milliseconds read as seconds: 40 s is frame 1000, not 1.
  std::int32_t frame = 0;
  EXPECT_TRUE(frameAtTime(40.0, 25.0, false, frame));
  EXPECT_EQ(frame, 1000);
  for (double time : {std::nan(""), std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                      16777217.0, -16777217.0, 1e300}) {
    std::int32_t untouched = 42;
    EXPECT_FALSE(frameAtTime(time, 1.0, false, untouched)) << time;
    EXPECT_EQ(untouched, 42);
  }
}
