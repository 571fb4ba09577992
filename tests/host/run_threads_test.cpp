// The adapter's worker runs on the stand-in's threads: how many, who may
// call the host, and how each way a worker can end comes back to the caller.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <new>
#include <set>
#include <stdexcept>

#include "image/exception.h"
#include "support/host_fixture.h"

using TestSupport::HostFixture;
using Host = OZ::Host::AE::Host;

namespace {

struct Call {
  std::uint64_t band, count, thread;
};

struct Recorder {
  std::function<void(const Call&)> action = [](const Call&) {};
  std::mutex mutex;
  std::vector<Call> calls;
  static void run(std::uint64_t band, std::uint64_t count, std::uint64_t thread, void* data) {
    auto* self = static_cast<Recorder*>(data);
    {
      std::lock_guard<std::mutex> guard(self->mutex);
      self->calls.push_back({band, count, thread});
    }
    self->action({band, count, thread});
  }
};

StandIn::Settings iterations(int count) {
  StandIn::Settings settings;
  settings.iterations = count;
  return settings;
}

}  // namespace

TEST(RunThreads, EveryBandRunsOnceAndOneOfThemIsThreadZero) {
  HostFixture fixture(iterations(5));
  Recorder recorder;
  fixture.host.runThreads(Recorder::run, &recorder, 0);
  ASSERT_EQ(recorder.calls.size(), 5u);
  std::set<std::uint64_t> bands;
  int threadZero = 0;
  for (const Call& call : recorder.calls) {
    bands.insert(call.band);
    EXPECT_EQ(call.count, 5u);
    threadZero += call.thread == 0;
  }
  EXPECT_EQ(bands.size(), 5u);
  EXPECT_EQ(threadZero, 1);
}

TEST(RunThreads, AnOldOrThreadlessHostGetsOneDirectCall) {
  StandIn::Settings old;
  old.versionMajor = 11;
  old.iterations = 4;
  StandIn::Settings threadless;
  threadless.iterateGeneric = false;
  for (const StandIn::Settings& settings : {old, threadless, iterations(1)}) {
    HostFixture fixture(settings);
    Recorder recorder;
    recorder.action = [](const Call&) { throw Host::Error(7); };
    // A direct call passes exceptions through untranslated.
    EXPECT_THROW(fixture.host.runThreads(Recorder::run, &recorder, 0), Host::Error);
    ASSERT_EQ(recorder.calls.size(), 1u);
    EXPECT_EQ(recorder.calls[0].band, 0u);
    EXPECT_EQ(recorder.calls[0].count, 1u);
    EXPECT_EQ(recorder.calls[0].thread, 0u);
  }
}

TEST(RunThreads, WorkerExceptionsComeBackThroughTheirCodes) {
  auto outcome = [](std::function<void(const Call&)> action) -> std::string {
    HostFixture fixture(iterations(4));
    Recorder recorder;
    recorder.action = std::move(action);
    try {
      fixture.host.runThreads(Recorder::run, &recorder, 0);
      return "returned";
    } catch (const std::bad_alloc&) {
      return "bad_alloc";
    } catch (const OZ::Interrupted&) {
      return "interrupted " + std::to_string(fixture.host.abortCode.load());
    } catch (const OZ::Exception& error) {
      return error.what();
    }
  };
  const std::string unknown = "AEHost::thread: An unknown error occurred in a thread.";
  for (std::uint64_t where : {0u, 2u}) {
    SCOPED_TRACE(where);
    auto on = [where](auto thrower) {
      return [where, thrower](const Call& call) {
        if (call.thread == where) thrower();
      };
    };
    EXPECT_EQ(outcome(on([] { throw std::bad_alloc(); })), "bad_alloc");
    EXPECT_EQ(outcome(on([] { throw Host::Error(7); })), unknown);  // the code is lost
    EXPECT_EQ(outcome(on([] { throw std::runtime_error("x"); })), unknown);
    EXPECT_EQ(outcome(on([] { throw 42; })), unknown);
  }
  // Interrupted alone reports nothing: the latched abort code decides.
  EXPECT_EQ(outcome([](const Call& call) {
              if (call.thread == 2) throw OZ::Interrupted();
            }),
            "returned");
}

TEST(RunThreads, AHostResultOfCancelLatchesTheAbort) {
  HostFixture fixture(iterations(3));
  fixture.standIn.faults.abortOnProgress = 1;
  Recorder recorder;
  Host* host = &fixture.host;
  recorder.action = [host](const Call& call) { host->reportProgress(call.thread, 0, 10); };
  EXPECT_THROW(fixture.host.runThreads(Recorder::run, &recorder, 0), OZ::Interrupted);
  EXPECT_EQ(fixture.host.abortCode.load(), std::uint32_t(PF_Interrupt_CANCEL));
  EXPECT_EQ(fixture.standIn.progressTrace().size(), 1u);  // only thread 0 reached the host
  EXPECT_THROW(fixture.host.checkAbort(0), OZ::Interrupted);  // latched: the host is not asked again
  EXPECT_EQ(fixture.standIn.abortCalls(), 0);
}

TEST(Progress, LevelsMapRowsIntoTheWholeRender) {
  HostFixture fixture;
  Host& host = fixture.host;
  host.progressLevels[1] = {2, 5, 1, 0};  // two of five nodes done, this one weighs 1
  host.reportProgress(0, 32, 64);
  host.progressLevels[1].current = 5;  // at or past its total
  host.reportProgress(0, 1, 3);
  host.progressLevels[1] = {};
  host.reportProgress(0, 7, 0);  // a total of 0
  host.reportProgress(4, 1, 1);  // not thread 0: the host hears nothing
  const std::vector<std::pair<A_long, A_long>> expected = {{2500, 5000}, {5000, 5000}, {0, 1}};
  EXPECT_EQ(fixture.standIn.progressTrace(), expected);
}
