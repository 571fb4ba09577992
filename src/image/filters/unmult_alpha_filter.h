#pragma once
// Divides colour by alpha: premultiplied colour in, straight out.

#include "image/filters/alpha_filter.h"

namespace OZ::Image {

template <class Host>
class UnmultAlphaFilter final : public AlphaFilter<Host, AlphaOperation::Unmultiply> {
 public:
  using AlphaFilter<Host, AlphaOperation::Unmultiply>::AlphaFilter;
  const char* filterName() const override { return "UnmultAlpha"; }
};

}  // namespace OZ::Image
