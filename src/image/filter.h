#pragma once
// A node whose pixel work is split into horizontal bands of its output, one
// band per iteration of the host's thread runner. Bands never overlap, so a
// band takes no lock.

#include <cstdint>

#include "image/filter_base.h"
#include "image/progress.h"
#include "image/views.h"

namespace OZ::Image {

// Band i of n over rows [top, top + h): multiply first, then a truncating
// division, so that one band's bottom is exactly the next band's top and the
// bands tile the rows for every n. Unsigned 64-bit, as the host counts.
inline Rect bandOf(const Rect& bounds, std::uint64_t bandIndex, std::uint64_t bandCount) {
  const std::int64_t rows = std::int32_t(std::uint32_t(bounds.y1) - std::uint32_t(bounds.y0));
  const std::uint64_t top = std::uint64_t(rows) * bandIndex / bandCount + std::uint64_t(std::int64_t(bounds.y0));
  const std::uint64_t bottom = std::uint64_t(rows) * (bandIndex + 1) / bandCount + std::uint64_t(std::int64_t(bounds.y0));
  return {bounds.x0, std::int32_t(std::uint32_t(top)), bounds.x1, std::int32_t(std::uint32_t(bottom))};
}

template <class Host>
class Filter : public FilterBase<Host> {
 public:
  using Image = ImageBuffer<Host>;

  void process(Host* host, Image& output, Image* const* inputImages) override {
    this->host = host;
    this->output = &output;
    this->inputImages = inputImages;
    host->runThreads(&Filter::renderBandOf, this, 0);
  }

  void renderBand(std::uint64_t bandIndex, std::uint64_t bandCount, std::uint64_t threadIndex) {
    processBand(bandOf(output->bounds, bandIndex, bandCount), threadIndex);
  }

  virtual void processBand(const Rect& band, std::uint64_t threadIndex) = 0;

  Host* host = nullptr;
  Rect spareRect = emptyRect;
  Image* output = nullptr;
  Image* const* inputImages = nullptr;  // in the order of inputs

 protected:
  Filter() = default;
  explicit Filter(FilterBase<Host>* input) { this->connectInput(input); }
  Filter(FilterBase<Host>* first, FilterBase<Host>* second) {
    this->connectInput(first);
    this->connectInput(second);
  }

  // What a band's kernel needs: the views, filled on this thread from the
  // records, and a reporter of its own.
  TargetView targetView() const { return output->targetView(); }
  SourceView sourceView(std::size_t inputIndex) const { return inputImages[inputIndex]->sourceView(); }
  HostProgress<Host> progressFor(std::uint64_t threadIndex) const { return HostProgress<Host>(host, threadIndex); }

 private:
  static void renderBandOf(std::uint64_t bandIndex, std::uint64_t bandCount, std::uint64_t threadIndex, void* filter) {
    static_cast<Filter*>(filter)->renderBand(bandIndex, bandCount, threadIndex);
  }
};

}  // namespace OZ::Image
