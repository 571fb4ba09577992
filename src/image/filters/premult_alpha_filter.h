#pragma once
// Multiplies colour by alpha: straight colour in, premultiplied out.

#include "image/filters/alpha_filter.h"

namespace OZ::Image {

template <class Host>
class PremultAlphaFilter final : public AlphaFilter<Host, AlphaOperation::Premultiply> {
 public:
  using AlphaFilter<Host, AlphaOperation::Premultiply>::AlphaFilter;
  const char* filterName() const override { return "PremultAlpha"; }
};

}  // namespace OZ::Image
