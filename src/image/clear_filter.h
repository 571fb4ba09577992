#pragma once
// An endless transparent black plane.

#include "image/filter_base.h"

namespace OZ::Image {

template <class Host>
class ClearFilter final : public FilterBase<Host> {
 public:
  using Image = ImageBuffer<Host>;

  const char* filterName() const override { return "clear"; }
  Rect bounds() const override { return infiniteRect; }
  std::uint64_t progressUnits() const override { return 0; }
  bool canReuseInput(std::size_t) const override { return true; }
  void process(Host*, Image& output, Image* const*) override { output.clear(output.bounds); }
};

}  // namespace OZ::Image
