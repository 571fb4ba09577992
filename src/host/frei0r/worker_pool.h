#pragma once
// The threads of one effect instance. A frei0r host lends the plug-in no
// threads, so the instance keeps a few of its own: started when a run first
// needs them, waiting between runs, joined when the instance goes.

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace OZ::Host::Frei0r {

class WorkerPool {
 public:
  // Called once per iteration; must not throw.
  using Task = void (*)(std::uint64_t iteration, void* context);

  // More workers than this are never started; a run with more iterations
  // shares them out.
  static constexpr std::size_t kMaxWorkers = 63;

  WorkerPool() = default;
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  // Runs task for every iteration from 0 to count - 1, each once, and
  // returns when all have ended. The calling thread runs iteration 0 and
  // helps with the rest. Where the system refuses a thread, the run goes on
  // with the workers it has.
  void run(std::uint64_t count, Task task, void* context);

  std::size_t workers() const { return threads_.size(); }

 private:
  void startWorkers(std::size_t wanted);
  void serve(std::uint64_t seen);
  void drain();

  std::vector<std::thread> threads_;
  std::mutex lock_;
  std::condition_variable wake_;
  std::condition_variable finished_;
  std::uint64_t generation_ = 0;
  std::size_t workersDone_ = 0;
  bool stopping_ = false;
  // The run under way; written under lock_ before workers wake.
  Task task_ = nullptr;
  void* context_ = nullptr;
  std::uint64_t count_ = 0;
  std::uint64_t next_ = 0;  // the next iteration to hand out, under lock_
};

}  // namespace OZ::Host::Frei0r
