#include "cli/alpha_convention.h"

#include "cli/session.h"
#include "image/filter_layer.h"
#include "image/filters/premult_alpha_filter.h"
#include "image/filters/unmult_alpha_filter.h"
#include "image/render_graph.h"

namespace StrobeQuirk::Cli {
namespace {

using Host = OZ::Host::AE::Host;
using Layer = OZ::Image::FilterLayer<Host>;

template <template <typename> class AlphaFilter>
Frame throughFilter(const Frame& frame) {
  Session session;
  PF_EffectWorld* inputWorld = session.layer(*frame.format, frame.size, frame.bytes);
  PF_EffectWorld* outputWorld = session.layer(*frame.format, frame.size);
  {
    Host::Image input(&session.host, inputWorld), output(&session.host, outputWorld);
    Layer layer(&input, OZ::Image::emptyRect);
    AlphaFilter<Host> filter(&layer);
    OZ::Image::renderGraph<Host>(&filter, &session.host, output);
  }
  return Frame{frame.format, frame.size, copyOutOfWorld(*outputWorld, *frame.format)};
}

}  // namespace

Frame premultiplied(const Frame& straight) { return throughFilter<OZ::Image::PremultAlphaFilter>(straight); }
Frame unmultiplied(const Frame& premultiplied) { return throughFilter<OZ::Image::UnmultAlphaFilter>(premultiplied); }

}  // namespace StrobeQuirk::Cli
