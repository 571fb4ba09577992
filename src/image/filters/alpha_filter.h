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

  // On a device: the program, one input, no arguments (the inherited
  // runKernel). The program comes from a driver that knows the kernel; this
  // filter builds none.
  void buildProgram(Host*, DeviceContext*, const PixelDescriptor&) override {}
};

}  // namespace OZ::Image
