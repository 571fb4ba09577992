#pragma once
// What premultiplying and unmultiplying share: one input, work in place,
// and a band that runs the operation's kernel for the output's format.

#include "image/filter.h"
#include "image/filters/alpha_kernels.h"

namespace OZ::Image {

template <class Host, AlphaOperation Operation>
class AlphaFilter : public Filter<Host> {
 public:
  explicit AlphaFilter(FilterBase<Host>* input) : Filter<Host>(input) {}
  bool canReuseInput(std::size_t) const override { return true; }
  void processBand(const Rect& band, std::uint64_t threadIndex) override {
    HostProgress<Host> progress = this->progressFor(threadIndex);
    runAlphaBand(Operation, this->output->depth, channelOrder(this->output->format), this->targetView(),
                 this->sourceView(0), band, progress);
  }
};

}  // namespace OZ::Image
