// The blend kernels built with SSE2 instructions: 41 modes in six layouts.
#include "image/blend/blend_vector.h"

namespace OZ::Image {

#define OZ_BLEND_SSE2(Layout) OZ_BLEND_LEVEL_ENTRY(SSE2Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_BLEND_SSE2)
#undef OZ_BLEND_SSE2

}  // namespace OZ::Image
