// The blend kernels built with SSE4.1 instructions: 41 modes in six layouts.
#include "image/blend/blend_vector.h"

namespace OZ::Image {

#define OZ_BLEND_SSE41(Layout) OZ_BLEND_LEVEL_ENTRY(SSE41Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_BLEND_SSE41)
#undef OZ_BLEND_SSE41

}  // namespace OZ::Image
