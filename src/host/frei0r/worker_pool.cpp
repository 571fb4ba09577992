#include "host/frei0r/worker_pool.h"

#include <algorithm>
#include <system_error>

namespace OZ::Host::Frei0r {

WorkerPool::~WorkerPool() {
  {
    std::lock_guard<std::mutex> guard(lock_);
    stopping_ = true;
  }
  wake_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void WorkerPool::startWorkers(std::size_t wanted) {
  wanted = std::min(wanted, kMaxWorkers);
  while (threads_.size() < wanted) {
    try {
      // A worker counts runs from the one under way when it starts, so the
      // run that started it is the first it answers.
      threads_.emplace_back([this, started = generation_] { serve(started); });
    } catch (const std::system_error&) {
      return;  // fewer threads, same result
    }
  }
}

void WorkerPool::run(std::uint64_t count, Task task, void* context) {
  if (count == 0) return;
  startWorkers(std::size_t(std::min<std::uint64_t>(count - 1, kMaxWorkers)));
  {
    std::lock_guard<std::mutex> guard(lock_);
    task_ = task;
    context_ = context;
    count_ = count;
    next_ = 1;  // iteration 0 is this thread's
    workersDone_ = 0;
    ++generation_;
  }
  wake_.notify_all();
  task(0, context);
  drain();
  // Every worker answers every run, so none can still be reading this run's
  // fields when the next one writes them.
  std::unique_lock<std::mutex> guard(lock_);
  finished_.wait(guard, [this] { return workersDone_ == threads_.size(); });
}

void WorkerPool::drain() {
  for (;;) {
    std::uint64_t iteration;
    {
      std::lock_guard<std::mutex> guard(lock_);
      if (next_ >= count_) return;
      iteration = next_++;
    }
    task_(iteration, context_);
  }
}

void WorkerPool::serve(std::uint64_t seen) {
  for (;;) {
    {
      std::unique_lock<std::mutex> guard(lock_);
      wake_.wait(guard, [&] { return stopping_ || generation_ != seen; });
      if (stopping_) return;
      seen = generation_;
    }
    drain();
    {
      std::lock_guard<std::mutex> guard(lock_);
      ++workersDone_;
    }
    finished_.notify_all();
  }
}

}  // namespace OZ::Host::Frei0r
