#pragma once
// Row reports from kernels. A report is also where an abort shows up, as
// OZ::Interrupted thrown out of report().

#include <cstdint>

namespace OZ::Image {

class Progress {
 public:
  virtual ~Progress() = default;
  virtual void report(std::int64_t current, std::int64_t total) = 0;
};

// Forwards to the host adapter. Only thread index 0 may reach the host; on
// the others the adapter just looks at the latched abort code.
template <class Host>
class HostProgress final : public Progress {
 public:
  HostProgress(Host* host, std::uint64_t threadIndex) : host(host), threadIndex(threadIndex) {}
  void report(std::int64_t current, std::int64_t total) override {
    host->reportProgress(threadIndex, current, total);
  }

  Host* host;
  std::uint64_t threadIndex;
};

}  // namespace OZ::Image
