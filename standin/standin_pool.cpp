#include "standin/standin_pool.h"

namespace StandIn {
namespace {
thread_local A_long runningThreadIndex = -1;
}  // namespace

A_long StandInHost::Pool::currentThreadIndex() { return runningThreadIndex; }

int StandInHost::Pool::processors() {
  const unsigned count = std::thread::hardware_concurrency();
  return count > 0 ? int(count) : 1;
}

StandInHost::Pool::~Pool() {
  {
    std::lock_guard<std::mutex> guard(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

PF_Err StandInHost::Pool::run(A_long iterations, void* refcon, Function function) {
  Job job{iterations, refcon, function};
  {
    std::lock_guard<std::mutex> guard(mutex_);
    while (A_long(threads_.size()) < iterations - 1) threads_.emplace_back([this] { serve(); });
    job_ = &job;
    ++generation_;
  }
  wake_.notify_all();
  work(job);
  std::unique_lock<std::mutex> lock(mutex_);
  done_.wait(lock, [&] { return job.finished.load() == iterations && active_ == 0; });
  job_ = nullptr;
  return job.firstError.load();
}

void StandInHost::Pool::work(Job& job) {
  for (;;) {
    const A_long iteration = job.next++;
    if (iteration >= job.iterations) return;
    const A_long outside = runningThreadIndex;
    runningThreadIndex = iteration;
    const PF_Err result = job.function(job.refcon, iteration, iteration, job.iterations);
    runningThreadIndex = outside;
    PF_Err none = PF_Err_NONE;
    if (result != PF_Err_NONE) job.firstError.compare_exchange_strong(none, result);
    if (++job.finished == job.iterations) {
      std::lock_guard<std::mutex> guard(mutex_);
      done_.notify_all();
    }
  }
}

void StandInHost::Pool::serve() {
  std::unique_lock<std::mutex> lock(mutex_);
  std::uint64_t seen = generation_;
  for (;;) {
    wake_.wait(lock, [&] { return stopping_ || (job_ && generation_ != seen); });
    if (stopping_) return;
    seen = generation_;
    Job* job = job_;
    ++active_;
    lock.unlock();
    work(*job);
    lock.lock();
    --active_;
    done_.notify_all();
  }
}

}  // namespace StandIn
