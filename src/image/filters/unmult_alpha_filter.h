#pragma once
// Divides colour by alpha: premultiplied colour in, straight out.

#include "image/filter.h"
#include "image/filters/alpha_kernels.h"

namespace OZ::Image {

template <class Host>
class UnmultAlphaFilter final : public Filter<Host> {
 public:
  explicit UnmultAlphaFilter(FilterBase<Host>* input) : Filter<Host>(input) {}
  const char* filterName() const override { return "UnmultAlpha"; }
  bool canReuseInput(std::size_t) const override { return true; }
  void processBand(const Rect& band, std::uint64_t threadIndex) override {
    HostProgress<Host> progress = this->progressFor(threadIndex);
    runAlphaBand(AlphaOperation::Unmultiply, this->output->depth, channelOrder(this->output->format),
                 this->targetView(), this->sourceView(0), band, progress);
  }
};

}  // namespace OZ::Image
