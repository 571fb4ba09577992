#pragma once
// Multiplies colour by alpha: straight colour in, premultiplied out.

#include "image/filter.h"
#include "image/filters/alpha_kernels.h"

namespace OZ::Image {

template <class Host>
class PremultAlphaFilter final : public Filter<Host> {
 public:
  explicit PremultAlphaFilter(FilterBase<Host>* input) : Filter<Host>(input) {}
  const char* filterName() const override { return "PremultAlpha"; }
  bool canReuseInput(std::size_t) const override { return true; }
  void processBand(const Rect& band, std::uint64_t threadIndex) override {
    HostProgress<Host> progress = this->progressFor(threadIndex);
    runAlphaBand(AlphaOperation::Premultiply, this->output->depth, channelOrder(this->output->format),
                 this->targetView(), this->sourceView(0), band, progress);
  }
};

}  // namespace OZ::Image
