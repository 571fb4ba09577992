#pragma once
// The threads behind the stand-in's iterate_generic: a small pool that lives
// with the stand-in host and grows to the largest run it was asked for. The
// calling thread takes part. Every iteration gets its own index and, as its
// thread index, that same number: exactly one iteration has thread index 0.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "host/ae/ae_interface.h"
#include "standin/standin_host.h"

namespace StandIn {

struct StandInHost::Pool {
  using Function = PF_Err (*)(void* refcon, A_long threadIndex, A_long iteration, A_long iterations);

  Pool() = default;
  ~Pool();
  static int processors();
  // The thread index of the iteration running on this thread, or -1 outside
  // any iteration.
  static A_long currentThreadIndex();
  // Blocks until every iteration has ended; the first non-zero result wins.
  PF_Err run(A_long iterations, void* refcon, Function function);

 private:
  struct Job {
    A_long iterations;
    void* refcon;
    Function function;
    std::atomic<A_long> next{0};
    std::atomic<A_long> finished{0};
    std::atomic<PF_Err> firstError{PF_Err_NONE};
  };
  void work(Job& job);
  void serve();

  std::mutex mutex_;
  std::condition_variable wake_, done_;
  std::vector<std::thread> threads_;
  Job* job_ = nullptr;
  std::uint64_t generation_ = 0;
  int active_ = 0;
  bool stopping_ = false;
};

}  // namespace StandIn
